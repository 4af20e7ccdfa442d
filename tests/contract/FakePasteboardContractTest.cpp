#include "contract/PasteboardContract.h"

#include "fakes/FakePasteboard.h"

namespace quillora::test {

class FakePasteboardHarness : public PasteboardHarness {
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

std::unique_ptr<PasteboardHarness> makePasteboardHarness() {
    return std::make_unique<FakePasteboardHarness>();
}

} // namespace quillora::test

QTEST_GUILESS_MAIN(quillora::test::PasteboardContract)
