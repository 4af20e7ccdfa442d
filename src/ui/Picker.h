#pragma once

#include <QComboBox>
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

    /// `title` is the accessible name.
    Picker(const QString &title, const QList<Option> &options, QWidget *parent = nullptr);

    /// Chooses without `picked`; nothing is chosen if there is no such option.
    void select(const QString &id);

    bool eventFilter(QObject *watched, QEvent *event) override;
    void showPopup() override;
    /// The width at which the name of what is chosen is not cut.
    int fullWidth() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    /// The user chose an option, maybe the same again.
    void picked(const QString &id);

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    bool continuesName(const QKeyEvent &key) const;
    void choose(int row);

    QRect contentRect() const;
    QRect textRect() const;

    std::optional<quint64> m_typedAt; ///< when the last letter of a name was typed into the list
};

} // namespace quillora
