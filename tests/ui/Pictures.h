#pragma once

#include "fakes/FakePlatform.h"

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QPalette>
#include <QStyleFactory>
#include <QTest>
#include <QWidget>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// What pictures of the program's windows have in common: one look on every machine, light, dark and in high
/// contrast, at 1x and 2x. They lie in QUILLORA_SCREENSHOTS.
class Pictures {
public:
    /// Before the first window.
    static void begin() {
        QApplication::setStyle(QStyleFactory::create(u"Fusion"_s));
        QFont font(u"Noto Sans"_s);
        font.setStyleHint(QFont::SansSerif);
        font.setPointSizeF(10);
        QApplication::setFont(font);
        QVERIFY(QDir().mkpath(QStringLiteral(QUILLORA_SCREENSHOTS)));
    }

    /// Rows of every state in every scheme.
    static void addRows(std::initializer_list<const char *> states) {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("scheme");
        for (const auto *state : states)
            for (const auto *scheme : {"light", "dark", "high-contrast"})
                QTest::addRow("%s-%s", state, scheme)
                    << QString::fromLatin1(state) << QString::fromLatin1(scheme);
    }

    static QPalette lightPalette() {
        QPalette palette(QColor(0xef, 0xf0, 0xf1), QColor(0xf6, 0xf6, 0xf7));
        palette.setColor(QPalette::Base, QColor(0xfc, 0xfc, 0xfc));
        palette.setColor(QPalette::Button, QColor(0xfb, 0xfb, 0xfc));
        palette.setColor(QPalette::Highlight, QColor(0x3d, 0x7e, 0xd6));
        palette.setColor(QPalette::HighlightedText, Qt::white);
        return palette;
    }

    static void prefer(FakePlatform &platform, const QString &scheme) {
        using Appearance = platform::Appearance;
        Appearance::Preferences preferences;
        preferences.colorScheme =
            scheme == u"dark"_s ? Appearance::ColorScheme::dark : Appearance::ColorScheme::noPreference;
        preferences.wantsHighContrast = scheme == u"high-contrast"_s;
        platform.appearanceFake.prefer(preferences);
    }

    /// At 1x and 2x, under `name`. No two pictures may be the same: each state can be told from every other.
    void take(QWidget &window, const QString &name) {
        for (const int scale : {1, 2}) {
            QImage picture(window.size() * scale, QImage::Format_ARGB32_Premultiplied);
            picture.setDevicePixelRatio(scale);
            window.render(&picture);
            QVERIFY(!m_pictures.contains(picture));
            m_pictures += picture;
            QVERIFY(
                picture.save(u"%1/%2-%3x.png"_s.arg(QStringLiteral(QUILLORA_SCREENSHOTS), name).arg(scale)));
        }
    }

private:
    QList<QImage> m_pictures;
};

} // namespace quillora::test
