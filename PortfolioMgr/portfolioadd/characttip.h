#pragma once

#include <QFrame>

class QLabel;
class QTextEdit;

// A small pop-up that shows a longer text next to the cursor: the full name and facts of
// a security whose name is cut off in a table. It never takes the focus, and closes on
// the next click elsewhere or on Escape.
class CharactTip : public QFrame
{
    Q_OBJECT

public:
    explicit CharactTip(QWidget *parent = nullptr);

    void setTitle(const QString &title);
    QString title() const;
    void setText(const QString &text);
    QString text() const;
    // Shows the tip with its top-left corner at the global position, kept on screen.
    void showAt(const QPoint &globalPos);

protected:
    void hideEvent(QHideEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QLabel *m_title;
    QTextEdit *m_text;
};
