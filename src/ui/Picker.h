#pragma once

#include <QComboBox>
#include <QList>

namespace quillora {

/// A menu of options, of which one is chosen by its identifier. Typing the beginning of a name chooses it.
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

    void showPopup() override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    /// The user chose an option, maybe the same again.
    void picked(const QString &id);

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    QRect contentRect() const;
    QRect textRect() const;
};

} // namespace quillora
