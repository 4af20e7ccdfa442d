#pragma once

#include "platform/Pasteboard.h"

#include <QTest>

#include <memory>

namespace quillora::test {

/// A pasteboard, and the other programs that use it.
class PasteboardHarness {
public:
    struct Value {
        QString type;
        QByteArray data;

        bool operator==(const Value &) const = default;
    };

    virtual ~PasteboardHarness() = default;

    virtual platform::Pasteboard &pasteboard() = 0;

    /// Another program puts these values on the pasteboard as one item; it does not give those of
    /// `unreadable` when it is asked.
    virtual void put(const std::vector<Value> &values, const QStringList &unreadable) = 0;

    /// What another program finds there.
    virtual std::vector<Value> found() = 0;

    /// The text that another program would paste; null if there is none.
    virtual QString pasted() = 0;
};

/// Makes a harness whose pasteboard is empty.
std::unique_ptr<PasteboardHarness> makePasteboardHarness();

/// What every pasteboard does.
class PasteboardContract : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_harness = makePasteboardHarness(); }
    void cleanup() { m_harness.reset(); }

    void anEmptyPasteboardHasNoItems() { QVERIFY(pasteboard().items().empty()); }

    void aTextIsWhatOtherProgramsPaste() {
        pasteboard().clearContents();
        pasteboard().setString(u"¿Dónde está la estación? 駅 🚉"_qs);
        QCOMPARE(m_harness->pasted(), u"¿Dónde está la estación? 駅 🚉"_qs);
    }

    void anEmptyTextIsAText() {
        pasteboard().clearContents();
        pasteboard().setString(u""_qs);
        QCOMPARE(m_harness->pasted(), u""_qs);
        QVERIFY(!m_harness->pasted().isNull());
    }

    void aClearedPasteboardHoldsNothing() {
        m_harness->put({{u"text/plain;charset=utf-8"_qs, "before"}}, {});
        pasteboard().clearContents();
        QVERIFY(pasteboard().items().empty());
        QTRY_COMPARE(m_harness->found(), std::vector<PasteboardHarness::Value>());
    }

    void clearingTakesAwayOurOwnText() {
        pasteboard().setString(u"gone"_qs);
        pasteboard().clearContents();
        QTRY_COMPARE(m_harness->found(), std::vector<PasteboardHarness::Value>());
        QVERIFY(m_harness->pasted().isNull());
    }

    void typesComeInTheirOwnersOrder() {
        m_harness->put({{u"text/html"_qs, "<b>x</b>"}, {u"image/png"_qs, "\x89PNG"}, {u"a/b"_qs, "c"}}, {});
        const auto items = pasteboard().items();
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->types(), QStringList({u"text/html"_qs, u"image/png"_qs, u"a/b"_qs}));
    }

    void bytesComeAsTheyAre() {
        QByteArray everyByte;
        for (int byte = 0; byte < 256; ++byte)
            everyByte += static_cast<char>(byte);
        m_harness->put({{u"image/png"_qs, everyByte}, {u"application/x-empty"_qs, ""}}, {});
        const auto items = pasteboard().items();
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->data(u"image/png"_qs), everyByte);
        QCOMPARE(items.front()->data(u"application/x-empty"_qs), QByteArray(""));
    }

    void aTypeThatItsOwnerDoesNotGiveIsAbsent() {
        m_harness->put({{u"image/png"_qs, "png"}, {u"text/html"_qs, "html"}}, {u"image/png"_qs});
        const auto items = pasteboard().items();
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->data(u"image/png"_qs), std::nullopt);
        QCOMPARE(items.front()->string(u"image/png"_qs), std::nullopt);
        QCOMPARE(items.front()->data(u"text/html"_qs), QByteArray("html"));
    }

    void aTypeThatIsNotThereIsAbsent() {
        m_harness->put({{u"image/png"_qs, "png"}}, {});
        const auto items = pasteboard().items();
        QCOMPARE(items.size(), 1U);
        QCOMPARE(items.front()->data(u"image/jpeg"_qs), std::nullopt);
        QCOMPARE(items.front()->string(u"image/jpeg"_qs), std::nullopt);
    }

    void writtenDataIsWhatOtherProgramsFind() {
        platform::PasteboardItem item;
        item.setData("<i>y</i>", u"text/html"_qs);
        item.setData(QByteArray("\0\xff", 2), u"application/x-private"_qs);
        pasteboard().clearContents();
        pasteboard().writeItems({item});
        const std::vector<PasteboardHarness::Value> expected{{u"text/html"_qs, "<i>y</i>"},
                                                             {u"application/x-private"_qs, {"\0\xff", 2}}};
        QCOMPARE(m_harness->found(), expected);
    }

    void aWrittenStringIsATextOfItsType() {
        platform::PasteboardItem item;
        item.setString(u"größer"_qs, u"text/plain;charset=utf-8"_qs);
        pasteboard().clearContents();
        pasteboard().writeItems({item});
        QCOMPARE(m_harness->pasted(), u"größer"_qs);
    }

    void whatWasSavedComesBackAfterAText() {
        const std::vector<PasteboardHarness::Value> before{
            {u"text/html"_qs, "<p>1</p>"}, {u"text/plain;charset=utf-8"_qs, "1"}, {u"image/png"_qs, "\x89P"}};
        m_harness->put(before, {});
        const auto saved = save();
        pasteboard().clearContents();
        pasteboard().setString(u"text"_qs);
        QCOMPARE(m_harness->pasted(), u"text"_qs);
        pasteboard().clearContents();
        pasteboard().writeItems(saved);
        QCOMPARE(m_harness->found(), before);
    }

    void ourOwnTextCanBeSavedAndComeBack() {
        pasteboard().clearContents();
        pasteboard().setString(u"first"_qs);
        const auto saved = save();
        pasteboard().clearContents();
        pasteboard().setString(u"second"_qs);
        pasteboard().clearContents();
        pasteboard().writeItems(saved);
        QCOMPARE(m_harness->pasted(), u"first"_qs);
    }

    void readingTwiceGivesTheSame() {
        m_harness->put({{u"image/png"_qs, "png"}}, {});
        QCOMPARE(save(), save());
    }

    void whatAnotherProgramPutsReplacesOurs() {
        pasteboard().setString(u"ours"_qs);
        m_harness->put({{u"text/plain;charset=utf-8"_qs, "theirs"}}, {});
        const auto saved = save();
        QCOMPARE(m_harness->pasted(), u"theirs"_qs);
        QCOMPARE(saved.size(), 1U);
        QCOMPARE(saved.front().representations().size(), 1U);
    }

private:
    platform::Pasteboard &pasteboard() { return m_harness->pasteboard(); }

    /// Saves the pasteboard as a paste does.
    std::vector<platform::PasteboardItem> save() {
        std::vector<platform::PasteboardItem> saved;
        for (const auto &entry : pasteboard().items()) {
            auto &item = saved.emplace_back();
            for (const QString &type : entry->types()) {
                if (const auto data = entry->data(type))
                    item.setData(*data, type);
                else if (const auto string = entry->string(type))
                    item.setString(*string, type);
            }
        }
        return saved;
    }

    std::unique_ptr<PasteboardHarness> m_harness;
};

} // namespace quillora::test
