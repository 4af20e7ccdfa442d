#include "platform/linux/x11/X11Pasteboard.h"
#include "support/SelectionPeer.h"
#include "support/VirtualDisplay.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>

using namespace quillora;
using test::SelectionPeer;

namespace {

void measure(const char *what, const test::VirtualDisplay &display, std::vector<SelectionPeer::Offer> offers,
             SelectionPeer::Manners manners, int runs) {
    platform::X11Pasteboard pasteboard(display.name());
    const SelectionPeer owner(display.name(), "CLIPBOARD", std::move(offers), manners);
    std::vector<double> milliseconds;
    qsizetype bytes = 0;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer clock;
        clock.start();
        const auto items = pasteboard.items();
        milliseconds.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
        bytes = 0;
        for (const auto &item : items) {
            for (const QString &type : item->types())
                bytes += item->data(type)->size();
        }
    }
    std::ranges::sort(milliseconds);
    std::printf("%-28s median %7.2f ms  worst %7.2f ms  %lld bytes\n", what,
                milliseconds[milliseconds.size() / 2], milliseconds.back(), static_cast<long long>(bytes));
}

} // namespace

/// How long saving the clipboard takes.
int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const test::VirtualDisplay display;

    std::vector<SelectionPeer::Offer> formats;
    for (int i = 0; i < 20; ++i)
        formats.push_back({.target = "format/" + QByteArray::number(i), .data = QByteArray(1000, 'x')});
    measure("20 formats", display, formats, {}, 51);
    measure("8 MiB in pieces", display, {{.target = "image/bmp", .data = QByteArray(8 << 20, 'x')}}, {}, 21);
    measure("50 MiB in pieces", display, {{.target = "image/bmp", .data = QByteArray(50 << 20, 'x')}}, {}, 5);
    measure("hung owner", display, {}, {.isHung = true}, 3);
}
