#pragma once

#include <QComboBox>
#include <QHash>
#include <QList>

#include <optional>

namespace quillora {

/// A menu of options, of which one is chosen by its identifier. Arrow keys, Space and the beginning of a name
/// only open the list and move about in it: what the user passes over on the way is not chosen.
class Picker : public QComboBox {
    Q_OBJECT

public:
    struct Option {
        QString id;
        QString flag; ///< shown before the name; may be empty
        QString name;
    };

    /// Something to know about an option, beside its name.
    struct Mark {
        QString symbol;             ///< empty for none
        std::optional<int> percent; ///< how far it is, which beside the title takes the symbol's place
        QString help;               ///< the tool tip, and what assistive technology says of it

        bool operator==(const Mark &) const = default;
    };

    /// An edge of a mark's symbol, in logical pixels.
    static constexpr int markSize = 14;

    /// `title` is the accessible name.
    Picker(const QString &title, const QList<Option> &options, QWidget *parent = nullptr);

    /// Options for languages, each of which has an `id`, a `flag` and a `name`.
    template <typename Language>
    static QList<Option> optionsOf(const QList<Language> &languages) {
        QList<Option> options;
        for (const auto &language : languages)
            options += {language.id, language.flag, language.name};
        return options;
    }

    /// Chooses without `picked`; nothing is chosen if there is no such option.
    void select(const QString &id);

    /// Marks the options of these identifiers, and no others: in the list, and by `PickerMark`.
    void setMarks(const QHash<QString, Mark> &marks);

    /// That of what is chosen; empty if it has none.
    Mark mark() const { return m_marks.value(currentData(Qt::UserRole).toString()); }

    /// The width at which the name of what is chosen is not cut.
    int fullWidth() const;

    bool eventFilter(QObject *watched, QEvent *event) override;
    void showPopup() override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    /// The user chose an option, maybe the same again.
    void picked(const QString &id);

    /// The mark of what is chosen may be another.
    void markChanged();

protected:
    void changeEvent(QEvent *event) override;
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    bool continuesName(const QKeyEvent &key) const;
    void choose(int row);

    void showMark();
    QIcon markIcon(const Mark &mark) const;
    void showMarks();
    QString help() const;

    QRect contentRect() const;
    QRect textRect() const;

    QHash<QString, Mark> m_marks;

    std::optional<quint64> m_typedAt; ///< when the last letter of a name was typed into the list
};

} // namespace quillora
