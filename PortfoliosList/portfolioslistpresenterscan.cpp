// Directory auto-import: the settings, the watched folder's poll on the GUI thread and
// what happens to a file once the worker has made (or refused) its portfolio.

#include "portfolioslistpresenterclass.h"

#include "portfoliolistbasicinfo.h"
#include "portfoliotradesettings.h"
#include "portparsecreatethread.h"
#include "tzcore.h"
#include "veltrautils.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

namespace {

constexpr int kScanIntervalMs = 1000;

void panel(BusiMsgLevel level, const QString &text)
{
    VeltraUtils::PutBusiMsg(level, BusiMsgType::PortfolioMsg, BusiMsgItem::TagMenu, text);
}

} // namespace

void PortfoliosListPresenterClass::applyScanCfg()
{
    QWriteLocker lock(&m_scanLock);
    const auto settings = PortfolioTradeSettings::AutoImport::read(*TzCore::settings());
    m_scanFlag = settings.scan;
    // One spelling of each folder: the paths handed over and their backup paths are
    // built from it.
    const QString scanDir = QDir::cleanPath(settings.scanDir);
    if (scanDir != m_scanDir)
        m_scanDirState = ScanDirState::Unknown;
    m_scanDir = scanDir;
    m_deleteFlag = settings.deleteImported;
    m_backupDir = QDir::cleanPath(settings.backupDir);
    if (!QDir(m_scanDir).exists())
        qInfo().noquote() << QStringLiteral("组合自动导入扫描目录%1不存在").arg(m_scanDir);
    if (m_scanFlag) {
        emit signalScanFlagChanged(true);
        if (!m_parseThread) {
            m_parseThread = new PortParseCreateThread(this);
            m_parseThread->setObjectName(QStringLiteral("PortParseCreate_Thread"));
            connect(m_parseThread, &PortParseCreateThread::signalFileParseFinished, this,
                    &PortfoliosListPresenterClass::slotFileParseFinished, Qt::QueuedConnection);
            m_parseThread->startThread();
        }
    } else {
        emit signalScanFlagChanged(false);
    }
    qDebug().noquote() << QStringLiteral("获取到组合自动导入设置：扫描开关%2，扫描目录%1，是否删除%3，备份目录%4")
                              .arg(m_scanDir,
                                   m_scanFlag ? QStringLiteral("true") : QStringLiteral("false"),
                                   m_deleteFlag ? QStringLiteral("true") : QStringLiteral("false"),
                                   m_backupDir);
}

void PortfoliosListPresenterClass::slotScanFlagChanged(bool bStart)
{
    if (!m_scanTimer) {
        m_scanTimer = new QTimer(this);
        m_scanTimer->setInterval(kScanIntervalMs);
        connect(m_scanTimer, &QTimer::timeout, this, &PortfoliosListPresenterClass::scanDir);
    }
    if (bStart)
        m_scanTimer->start();
    else
        m_scanTimer->stop();
}

void PortfoliosListPresenterClass::noteScanDirState(ScanDirState state, const QString &dir)
{
    if (state == m_scanDirState)
        return;
    const ScanDirState before = m_scanDirState;
    m_scanDirState = state;
    switch (state) {
    case ScanDirState::Missing:
        panel(BusiMsgLevel::Warning,
              QStringLiteral("组合自动导入扫描目录%1不存在，目录出现后将自动开始导入").arg(dir));
        break;
    case ScanDirState::Unreadable:
        panel(BusiMsgLevel::Warning,
              QStringLiteral("组合自动导入扫描目录%1无法读取，请检查目录权限；恢复后将自动继续导入").arg(dir));
        break;
    case ScanDirState::Ok:
        if (before != ScanDirState::Unknown)
            panel(BusiMsgLevel::Info, QStringLiteral("组合自动导入扫描目录%1已恢复，继续导入").arg(dir));
        break;
    case ScanDirState::Unknown:
        break;
    }
}

void PortfoliosListPresenterClass::scanDir()
{
    QString path;
    {
        QReadLocker lock(&m_scanLock);
        path = m_scanDir;
    }
    const QDir dir(path);
    qDebug().noquote() << "cur dir = " << dir.path();
    if (!dir.exists()) {
        noteScanDirState(ScanDirState::Missing, path);
        return;
    }
    if (!dir.isReadable()) {
        noteScanDirState(ScanDirState::Unreadable, path);
        return;
    }
    noteScanDirState(ScanDirState::Ok, path);
    if (!m_parseThread)
        return;

    QSet<QString> present;
    const QFileInfoList files =
        dir.entryInfoList({QStringLiteral("*.xlsx"), QStringLiteral("*.csv")}, QDir::Files, QDir::Name);
    for (const QFileInfo &info : files) {
        // Office's owner file of a workbook open in Excel is no portfolio.
        if (info.fileName().startsWith(QLatin1String("~$")))
            continue;
        const QString filePath = path + QLatin1Char('/') + info.fileName();
        present.insert(filePath);
        if (m_handedPaths.contains(filePath)) {
            qInfo().noquote() << QStringLiteral("组合路径已扫描，不再扫描，%1").arg(filePath);
            continue;
        }
        // A file still being written (a copy over a share takes seconds) is handed over
        // only once its size and time have stayed the same from one poll to the next.
        const FileStamp stamp{info.size(), info.lastModified()};
        const auto seen = m_settling.find(filePath);
        if (seen == m_settling.end() || seen->size != stamp.size || seen->modified != stamp.modified) {
            m_settling.insert(filePath, stamp);
            continue;
        }
        m_settling.erase(seen);
        qInfo().noquote() << QStringLiteral("组合自动导入获取到新文件：%1").arg(filePath);
        m_handedPaths.insert(filePath);
        m_parseThread->enqueue(filePath);
    }
    // A file taken away before it settled starts afresh if it comes back.
    for (auto it = m_settling.begin(); it != m_settling.end();)
        it = present.contains(it.key()) ? std::next(it) : m_settling.erase(it);
}

void PortfoliosListPresenterClass::slotFileParseFinished(QString filePath, QString portNo)
{
    qDebug().noquote() << QStringLiteral("收到组合自动导入创建成功信息，文件名：%1，组合号%2").arg(filePath, portNo);
    if (!portNo.isEmpty()) {
        if (PortfolioDetailBasicInfo *stored = PortfolioListBasicInfo::GetInstance()->GetPortfolioDetail(portNo)) {
            subscribePortfolios({stored});
            panel(BusiMsgLevel::Info, QStringLiteral("组合自动导入成功：%1 → 组合%2（%3），%4条明细")
                                          .arg(filePath, stored->Name(), portNo,
                                               QString::number(stored->SymbolList().size())));
        }  // else the store refused it and the presenter is fetching it again
        emit OnPortfolioNewOrCreate(portNo);
        PutPortfolioChangedEvent(portNo);
    }

    QReadLocker lock(&m_scanLock);
    if (m_deleteFlag && !portNo.isEmpty()) {
        if (!QFile::remove(filePath))
            panel(BusiMsgLevel::Warning, QStringLiteral("组合自动导入文件删除失败：%1").arg(filePath));
        return;
    }
    // A refused file is always moved, even when imported files are deleted: the trader
    // keeps what did not become a portfolio.
    QString backupPath = filePath;
    backupPath.replace(m_scanDir, m_backupDir, Qt::CaseSensitive);
    if (backupPath == filePath) {
        // The watched folder changed since the file was handed over: leave it where it is.
        qInfo().noquote() << "PortfoliosListPresenterClass: no backup path for" << filePath;
        return;
    }
    const QString backupDir = QFileInfo(backupPath).absolutePath();
    if (!QDir().mkpath(backupDir)) {
        panel(BusiMsgLevel::Warning, QStringLiteral("组合自动导入备份目录%1无法创建，文件%2未移动").arg(backupDir, filePath));
        return;
    }
    if (QFile::exists(backupPath))
        QFile::remove(backupPath);
    if (!QFile::rename(filePath, backupPath))
        panel(BusiMsgLevel::Warning, QStringLiteral("组合自动导入文件移动失败：%1 → %2").arg(filePath, backupPath));
}
