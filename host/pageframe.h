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

private:
    void syncTitleBar();

    TzPluginBaseWidget *m_page;
    QLabel *m_title;
    QList<QToolButton *> m_buttons;
};
