#include "contract/PasteboardContract.h"

#include "platform/linux/x11/X11Pasteboard.h"
#include "support/SelectionPeer.h"
#include "support/SelectionRequestor.h"
#include "support/VirtualDisplay.h"

namespace quillora::test {

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

std::unique_ptr<PasteboardHarness> makePasteboardHarness() {
    return std::make_unique<X11PasteboardHarness>();
}

} // namespace quillora::test

QTEST_GUILESS_MAIN(quillora::test::PasteboardContract)
