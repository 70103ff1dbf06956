#pragma once

#include <QSplitter>
#include <QStringList>

class PageFrame;
class PluginManager;
class TzPluginBaseWidget;

// The page area of the trading window: the open pages side by side in a splitter. The
// portfolio list is a side panel on the left at the width it asks for (216 pixels
// expanded, 35 collapsed: it fixes the width of its page and says so with
// signalsChangeListWgtWidth); every other page shares the rest. A page's "关闭" closes
// it; open() brings it back.
class PageArea : public QSplitter
{
    Q_OBJECT

public:
    explicit PageArea(PluginManager *plugins, QWidget *parent = nullptr);
    ~PageArea() override;

    // Opens the page with this host id (once; an open page stays as it is). False, with
    // the reason in error, when no plugin offers it.
    bool open(const QString &pageId, QString *error = nullptr);
    void close(const QString &pageId);
    bool isOpen(const QString &pageId) const { return frameOf(pageId) != nullptr; }
    QStringList openPageIds() const;
    TzPluginBaseWidget *page(const QString &pageId) const;
    PageFrame *frameOf(const QString &pageId) const;

    // Host ids of the two pages of the trading window.
    static inline const QString kPortfolioListId = QStringLiteral("TZApp.PortfoliosList");
    static inline const QString kPortfolioDetailId = QStringLiteral("TZApp.PortfolioDetail");

    // The pages that sit on the left at their own width.
    static bool isSidePanel(const QString &pageId);
    static constexpr int kSidePanelWidth = 216;

signals:
    void pagesChanged();

private slots:
    // The side panel changed its width: its frame follows, the other pages take the rest.
    void followSidePanelWidth();

private:
    struct OpenPage
    {
        QString id;
        int metaId = 0;
        TzPluginBaseWidget *page = nullptr;
        PageFrame *frame = nullptr;
    };
    void fitSidePanel(const OpenPage &open);

    PluginManager *m_plugins;
    QList<OpenPage> m_open;
};
