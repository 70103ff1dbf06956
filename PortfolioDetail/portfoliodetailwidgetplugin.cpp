#include "portfoliodetailwidgetplugin.h"

#include "constants.h"
#include "id.h"
#include "portfoliodetailwidget.h"

#include <QMetaType>

namespace {

void destructPage(void *where)
{
    static_cast<PortfolioDetailWidget *>(where)->~PortfolioDetailWidget();
}

// Builds a default page in place. A widget cannot be copied: given a source page the
// hook builds a fresh one under the same parent, which is what the host means by
// opening the page again.
void *constructPage(void *where, const void *copy)
{
    QWidget *parent = copy ? static_cast<const PortfolioDetailWidget *>(copy)->parentWidget() : nullptr;
    return new (where) PortfolioDetailWidget(parent);
}

} // namespace

bool PortfolioDetailWidgetPlugin::initialize(const QStringList &arguments, QString *errorString,
                                             const QString &libraryName)
{
    Q_UNUSED(arguments)
    Q_UNUSED(errorString)

    auto *descriptor = new QObject;
    descriptor->setObjectName(QLatin1String(PortfolioDetailConstants::PAGE_CLASS));
    descriptor->setProperty("id", Id(PortfolioDetailConstants::PAGE_ID).toSetting());
    descriptor->setProperty("dllname", libraryName);

    int metaId = QMetaType::type(PortfolioDetailConstants::PAGE_CLASS);
    if (metaId == QMetaType::UnknownType) {
        metaId = QMetaType::registerNormalizedType(
            QByteArray(PortfolioDetailConstants::PAGE_CLASS), destructPage, constructPage,
            int(sizeof(PortfolioDetailWidget)),
            QMetaType::NeedsConstruction | QMetaType::NeedsDestruction,
            &PortfolioDetailWidget::staticMetaObject);
    }
    descriptor->setProperty("metaId", metaId);

    addAutoReleasedObject(descriptor);
    return true;
}

void PortfolioDetailWidgetPlugin::extensionsInitialized()
{
}
