#include "portfolioslistwidgetplugin.h"

#include "constants.h"
#include "id.h"
#include "portfolioslistwidget.h"

#include <QMetaType>

namespace {

void destructPage(void *where)
{
    static_cast<PortfoliosListWidget *>(where)->~PortfoliosListWidget();
}

// Builds a default page in place. A widget cannot be copied: given a source page the
// hook builds a fresh one under the same parent, which is what the host means by
// opening the page again.
void *constructPage(void *where, const void *copy)
{
    QWidget *parent = copy ? static_cast<const PortfoliosListWidget *>(copy)->parentWidget() : nullptr;
    return new (where) PortfoliosListWidget(parent);
}

} // namespace

bool PortfoliosListWidgetPlugin::initialize(const QStringList &arguments, QString *errorString,
                                            const QString &libraryName)
{
    Q_UNUSED(arguments)
    Q_UNUSED(errorString)

    auto *descriptor = new QObject;
    descriptor->setObjectName(QLatin1String(PortfoliosListConstants::PAGE_CLASS));
    descriptor->setProperty("id", Id(PortfoliosListConstants::PAGE_ID).toSetting());
    descriptor->setProperty("dllname", libraryName);

    int metaId = QMetaType::type(PortfoliosListConstants::PAGE_CLASS);
    if (metaId == QMetaType::UnknownType) {
        metaId = QMetaType::registerNormalizedType(
            QByteArray(PortfoliosListConstants::PAGE_CLASS), destructPage, constructPage,
            int(sizeof(PortfoliosListWidget)),
            QMetaType::NeedsConstruction | QMetaType::NeedsDestruction,
            &PortfoliosListWidget::staticMetaObject);
    }
    descriptor->setProperty("metaId", metaId);

    addAutoReleasedObject(descriptor);
    return true;
}

void PortfoliosListWidgetPlugin::extensionsInitialized()
{
}
