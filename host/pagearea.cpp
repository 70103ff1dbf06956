#include "pagearea.h"

#include "pageframe.h"
#include "pluginmanager.h"
#include "tzpluginbasewidget.h"

#include <QDebug>
#include <QMetaMethod>
#include <numeric>

namespace {
const char kWidthSignal[] = "signalsChangeListWgtWidth(bool)";
}

PageArea::PageArea(PluginManager *plugins, QWidget *parent)
    : QSplitter(Qt::Horizontal, parent)
    , m_plugins(plugins)
{
    setObjectName(QStringLiteral("PageArea"));
    setChildrenCollapsible(false);
    setHandleWidth(3);
}

PageArea::~PageArea()
{
    // A page's destructor lives in its plugin: destroy each through its meta-type while
    // the libraries are loaded.
    while (!m_open.isEmpty())
        close(m_open.last().id);
}

bool PageArea::isSidePanel(const QString &pageId)
{
    return pageId == kPortfolioListId;
}

bool PageArea::open(const QString &pageId, QString *error)
{
    if (isOpen(pageId))
        return true;
    const PageDescriptor *descriptor = m_plugins->pageById(pageId);
    QWidget *widget = descriptor ? m_plugins->createPage(descriptor->metaId) : nullptr;
    auto *page = qobject_cast<TzPluginBaseWidget *>(widget);
    if (!page) {
        if (widget)
            m_plugins->destroyPage(descriptor->metaId, widget);
        if (error)
            *error = QStringLiteral("未找到页面插件 %1，请检查插件目录。").arg(pageId);
        qWarning() << "PageArea::open no plugin offers" << pageId;
        return false;
    }
    page->setPluginInstanceID(pageId + QStringLiteral("#1"));
    OpenPage open{pageId, descriptor->metaId, page, new PageFrame(page)};
    connect(open.frame, &PageFrame::closeRequested, this, [this, pageId] { close(pageId); });
    if (isSidePanel(pageId)) {
        insertWidget(0, open.frame);
        setStretchFactor(0, 0);
        // The panel's own width until it says otherwise.
        page->setFixedWidth(kSidePanelWidth);
    } else {
        addWidget(open.frame);
        setStretchFactor(indexOf(open.frame), 1);
    }
    m_open.append(open);
    page->initPluginWidget();
    if (isSidePanel(pageId)) {
        // The signal comes from the page's list view, a class of the plugin: found by
        // its signature.
        for (QObject *child : page->findChildren<QObject *>()) {
            if (child->metaObject()->indexOfSignal(kWidthSignal) >= 0)
                connect(child, SIGNAL(signalsChangeListWgtWidth(bool)), this, SLOT(followSidePanelWidth()));
        }
        fitSidePanel(open);
    }
    emit pagesChanged();
    return true;
}

void PageArea::close(const QString &pageId)
{
    for (int i = 0; i < m_open.size(); ++i) {
        if (m_open.at(i).id != pageId)
            continue;
        const OpenPage open = m_open.takeAt(i);
        open.page->setParent(nullptr);
        m_plugins->destroyPage(open.metaId, open.page);
        delete open.frame;
        emit pagesChanged();
        return;
    }
}

QStringList PageArea::openPageIds() const
{
    // In the order they stand, left to right.
    QStringList ids;
    for (int i = 0; i < count(); ++i) {
        for (const OpenPage &open : m_open) {
            if (open.frame == widget(i))
                ids << open.id;
        }
    }
    return ids;
}

TzPluginBaseWidget *PageArea::page(const QString &pageId) const
{
    for (const OpenPage &open : m_open) {
        if (open.id == pageId)
            return open.page;
    }
    return nullptr;
}

PageFrame *PageArea::frameOf(const QString &pageId) const
{
    for (const OpenPage &open : m_open) {
        if (open.id == pageId)
            return open.frame;
    }
    return nullptr;
}

void PageArea::followSidePanelWidth()
{
    for (const OpenPage &open : qAsConst(m_open)) {
        if (isSidePanel(open.id))
            fitSidePanel(open);
    }
}

void PageArea::fitSidePanel(const OpenPage &open)
{
    const int width = open.page->maximumWidth();
    if (width != open.page->minimumWidth() || width >= QWIDGETSIZE_MAX)
        return;  // not fixed: the splitter decides
    // Collapsed to its arrow, the panel has no room for a title bar.
    open.frame->setCompact(width < kSidePanelWidth);
    open.frame->setFixedWidth(width);
    QList<int> sizes = this->sizes();
    const int index = indexOf(open.frame);
    const int total = std::accumulate(sizes.cbegin(), sizes.cend(), 0);
    if (index >= 0 && sizes.size() > 1) {
        const int rest = qMax(0, total - width);
        for (int i = 0; i < sizes.size(); ++i) {
            if (i != index)
                sizes[i] = rest / (sizes.size() - 1);
        }
        sizes[index] = width;
        setSizes(sizes);
    }
}
