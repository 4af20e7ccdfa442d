#include "fakes/FakePlatform.h"
#include "insertion/PasteboardInserter.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/x11/X11Pasteboard.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/VirtualDisplay.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

using namespace quillora;
using test::SelectionPeer;

namespace {

/// The real queue; it notes how long the last piece of work has held the main thread.
class TimedQueue : public platform::LinuxMainQueue {
public:
    std::shared_ptr<platform::WorkItem> asyncAfter(std::chrono::milliseconds delay,
                                                   std::function<void()> work) override {
        return LinuxMainQueue::asyncAfter(delay, [this, work = std::move(work)] {
            QElapsedTimer clock;
            clock.start();
            work();
            lastBlock = static_cast<double>(clock.nsecsElapsed()) / 1e6;
        });
    }

    double lastBlock = 0;
};

/// A desktop of fakes, but for its clipboard and its time.
class Desktop : public test::FakePlatform {
public:
    explicit Desktop(const QByteArray &displayName) : x11(displayName) {}
    platform::Pasteboard &pasteboard() override { return x11; }
    platform::MainQueue &mainQueue() override { return realTime; }

    platform::X11Pasteboard x11;
    TimedQueue realTime;
};

void print(const char *what, std::vector<double> milliseconds) {
    std::ranges::sort(milliseconds);
    std::printf("    %-26s median %7.2f ms  worst %7.2f ms\n", what, milliseconds[milliseconds.size() / 2],
                milliseconds.back());
}

void measure(const char *what, const test::VirtualDisplay &display,
             const std::vector<SelectionPeer::Offer> &offers, SelectionPeer::Manners manners, int runs) {
    std::vector<double> begin;
    std::vector<double> text;
    std::vector<double> restore;
    for (int run = 0; run < runs; ++run) {
        Desktop desktop(display.name());
        test::SelectionRequestor target(display.name(), "CLIPBOARD");
        const SelectionPeer owner(display.name(), "CLIPBOARD", offers, manners);
        const PasteboardInserter inserter;
        QElapsedTimer clock;
        clock.start();
        const auto elapsed = [&] { return static_cast<double>(clock.nsecsElapsed()) / 1e6; };
        desktop.keystrokesFake.onPaste = [&] {
            if (target.ask("UTF8_STRING"))
                text.push_back(elapsed());
        };
        inserter.paste(QStringLiteral("hola"), nullptr);
        begin.push_back(elapsed());
        while (inserter.hasPendingRestore())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
        restore.push_back(desktop.realTime.lastBlock);
    }
    std::printf("%s\n", what);
    print("main thread held, begin", begin);
    print("text in the target after", text);
    print("main thread held, restore", restore);
}

/// What was restored is ours to give, in pieces, to whoever pastes it next.
void measureGiving(const char *what, const test::VirtualDisplay &display, qsizetype size, int runs) {
    platform::X11SelectionOwner owner(display.name());
    owner.own("CLIPBOARD", {{{platform::X11SelectionType::bytes("image/bmp"), QByteArray(size, 'x')}}});
    std::vector<double> whole;
    for (int run = 0; run < runs; ++run) {
        test::SelectionRequestor target(display.name(), "CLIPBOARD");
        QElapsedTimer clock;
        clock.start();
        if (const auto answer = target.ask("image/bmp"); answer && answer->data.size() == size)
            whole.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
    }
    std::printf("%s\n", what);
    print("whole in the target after", whole);
}

} // namespace

/// How long an insertion holds the main thread and when its text arrives, by what stands on the clipboard,
/// and how long a large value that was restored takes to another program.
int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const test::VirtualDisplay display;

    measure("a text", display, {{.target = "UTF8_STRING", .data = "before"}}, {}, 9);
    std::vector<SelectionPeer::Offer> formats;
    for (int i = 0; i < 20; ++i)
        formats.push_back({.target = "format/" + QByteArray::number(i), .data = QByteArray(1000, 'x')});
    measure("20 formats", display, formats, {}, 9);
    measure("50 MiB in pieces", display, {{.target = "image/bmp", .data = QByteArray(50 << 20, 'x')}}, {}, 9);
    measure("an owner that hangs", display, {}, {.isHung = true}, 3);
    measureGiving("50 MiB to another program", display, 50 << 20, 9);
}
