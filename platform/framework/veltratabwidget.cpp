#include "veltratabwidget.h"

#include "veltrarepolish.h"

#include <QStyle>
#include <QTabBar>

namespace {

class VeltraTabBar : public QTabBar
{
public:
    using QTabBar::QTabBar;

    TabResizePolicy policy = TabFitContents;
    QSize fixedSize{80, 20};

protected:
    QSize tabSizeHint(int index) const override
    {
        const QSize natural = QTabBar::tabSizeHint(index);
        switch (policy) {
        case TabFixed:
            // Never narrower than the title: a fixed size must not clip it.
            return QSize(qMax(fixedSize.width(), natural.width()), fixedSize.height());
        case TabExpanding:
            return QSize(qMax(natural.width(), count() > 0 ? width() / count() : natural.width()),
                         natural.height());
        case TabFitContents:
            break;
        }
        return natural;
    }
};

} // namespace

VeltraTabWidget::VeltraTabWidget(QWidget *parent)
    : QTabWidget(parent)
{
    setTabBar(new VeltraTabBar(this));
}

void VeltraTabWidget::SetTabStyleType(const QString &styleType)
{
    m_styleType = styleType;
    repolish(this);
}

void VeltraTabWidget::SetTabSizePolicy(TabResizePolicy policy)
{
    static_cast<VeltraTabBar *>(tabBar())->policy = policy;
    tabBar()->setExpanding(policy == TabExpanding);
    tabBar()->updateGeometry();
}

void VeltraTabWidget::SetTabSize(const QSize &size)
{
    static_cast<VeltraTabBar *>(tabBar())->fixedSize = size;
    tabBar()->updateGeometry();
    tabBar()->adjustSize();
}
