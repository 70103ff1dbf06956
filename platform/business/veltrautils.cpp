#include "veltrautils.h"

#include "portfoliotemplatewriter.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMutex>

namespace {

QMutex g_hookMutex;
VeltraUtils::SaveFileNameHook g_saveFileNameHook;

QString askSaveFileName(QWidget *parent, const QString &caption, const QString &suggestedName)
{
    return QFileDialog::getSaveFileName(parent, caption, QDir(VeltraUtils::LastTableFolder()).filePath(suggestedName),
                                        QStringLiteral("Excel 工作簿 (*.xlsx);;CSV 文件 (*.csv)"));
}

} // namespace

void VeltraUtils::setSaveFileNameHook(SaveFileNameHook hook)
{
    QMutexLocker lock(&g_hookMutex);
    g_saveFileNameHook = std::move(hook);
}

QString VeltraUtils::GetSaveTableFileName(QWidget *parent, const QString &caption,
                                          const QString &suggestedName)
{
    SaveFileNameHook hook;
    {
        QMutexLocker lock(&g_hookMutex);
        hook = g_saveFileNameHook;
    }
    QString path = hook ? hook(parent, caption, suggestedName) : askSaveFileName(parent, caption, suggestedName);
    if (path.isEmpty())
        return path;
    // The dialog's filter does not add the suffix on every platform.
    const QString suffix = QFileInfo(path).suffix();
    if (suffix.compare(QLatin1String("xlsx"), Qt::CaseInsensitive) != 0
        && suffix.compare(QLatin1String("csv"), Qt::CaseInsensitive) != 0)
        path += QStringLiteral(".xlsx");
    RememberTableFolder(path);
    return path;
}

bool VeltraUtils::DownloadTemplateFile(VeltraConstants::TemplateFileType type, QWidget *parent,
                                       const QString &filePath, QString *error, QString *savedPath,
                                       const QString &variant)
{
    if (error)
        error->clear();
    QString path = filePath;
    if (path.isEmpty()) {
        path = GetSaveTableFileName(parent, PortfolioTemplateWriter::caption(type, variant),
                                    PortfolioTemplateWriter::suggestedFileName(type, variant));
        if (path.isEmpty())
            return false;
    }
    if (!PortfolioTemplateWriter::write(type, path, error, variant))
        return false;
    if (savedPath)
        *savedPath = path;
    return true;
}
