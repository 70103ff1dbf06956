#pragma once

#include <QWidget>

class QLabel;
class QToolButton;
class TzPluginBaseWidget;

// The host's frame around one page: a title bar with the page's title and the system
// buttons the page left visible, and the page below it.
class PageFrame : public QWidget
{
    Q_OBJECT

public:
    explicit PageFrame(TzPluginBaseWidget *page, QWidget *parent = nullptr);

    TzPluginBaseWidget *page() const { return m_page; }
    // Without its title bar, for a side panel collapsed to a strip.
    void setCompact(bool compact);
    bool isCompact() const { return m_compact; }

signals:
    // The page's "关闭" was pressed.
    void closeRequested();

private:
    void syncTitleBar();

    TzPluginBaseWidget *m_page;
    QWidget *m_bar;
    QLabel *m_title;
    bool m_compact = false;
    QList<QToolButton *> m_buttons;
};
