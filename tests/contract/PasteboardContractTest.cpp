#include "contract/PasteboardContract.h"
#include "fakes/FakePasteboard.h"
#include "platform/linux/x11/X11Pasteboard.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/VirtualDisplay.h"

#include <QCoreApplication>
#include <QTest>

using namespace quillora;
using namespace quillora::test;

namespace {

class FakeHarness : public PasteboardHarness {
public:
    platform::Pasteboard &pasteboard() override { return m_pasteboard; }

    void put(const std::vector<Value> &values, const Withheld &withheld) override {
        PasteboardItem item;
        for (const auto &value : values)
            item.setData(value.data, value.type);
        m_pasteboard.contents = {item};
        m_pasteboard.unreadableTypes = {withheld.forGood.begin(), withheld.forGood.end()};
        m_pasteboard.lateTypes += {withheld.untilGiveLate.begin(), withheld.untilGiveLate.end()};
    }

    void giveLate() override { m_pasteboard.giveLate(); }

    std::vector<Value> found() override {
        std::vector<Value> values;
        for (const auto &item : m_pasteboard.contents) {
            for (const auto &representation : item.representations())
                values.push_back({representation.type, representation.isString
                                                           ? representation.string.toUtf8()
                                                           : representation.data});
        }
        return values;
    }

    QString pasted() override { return m_pasteboard.plainText(); }

private:
    CallLog m_log;
    FakePasteboard m_pasteboard{m_log};
};

class X11PasteboardHarness : public PasteboardHarness {
public:
    platform::Pasteboard &pasteboard() override { return m_pasteboard; }

    void put(const std::vector<Value> &values, const Withheld &withheld) override {
        std::vector<SelectionPeer::Offer> offers;
        for (const auto &value : values)
            offers.push_back({.target = value.type.toLatin1(),
                              .data = value.data,
                              .isRefused = withheld.forGood.contains(value.type),
                              .isLate = withheld.untilGiveLate.contains(value.type)});
        m_owners.push_back(std::make_unique<SelectionPeer>(m_display.name(), "CLIPBOARD", std::move(offers)));
    }

    void giveLate() override {
        for (const auto &owner : m_owners)
            owner->giveLate();
    }

    std::vector<Value> found() override {
        std::vector<Value> values;
        for (const auto &target : m_requestor.targets()) {
            const auto answer = m_requestor.ask(target);
            values.push_back({QString::fromLatin1(target), answer ? answer->data : QByteArray()});
        }
        return values;
    }

    QString pasted() override {
        for (const auto *target : {"UTF8_STRING", "text/plain;charset=utf-8"}) {
            if (const auto answer = m_requestor.ask(target))
                return QString::fromUtf8(answer->data);
        }
        return {};
    }

private:
    VirtualDisplay m_display;
    platform::X11Pasteboard m_pasteboard{m_display.name(), {.withLists = std::chrono::seconds(10)}};
    SelectionRequestor m_requestor{m_display.name(), "CLIPBOARD"};
    std::vector<std::unique_ptr<SelectionPeer>> m_owners;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::PasteboardContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"X11Pasteboard", [] { return std::make_unique<X11PasteboardHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
