#include "settingsdialog.h"

#include "ceventmessagecommon.h"
#include "cpackmessagecommon.h"
#include "hostevents.h"
#include "messagebus.h"
#include "msgtypes.h"
#include "tzcore.h"
#include "veltrabusinessdatainterface.h"
#include "veltrawidget.h"

#include <QCheckBox>
#include <QDebug>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

using PortfolioTradeSettings::AutoImport;

namespace {

// A folder as the file system names it: separators and dots cleaned up, links resolved
// where the folder exists, so that two spellings of one folder compare equal.
QString folderKey(const QString &path)
{
    const QString clean = QDir::cleanPath(QDir::fromNativeSeparators(path));
    const QString canonical = QFileInfo(clean).canonicalFilePath();
    return canonical.isEmpty() ? clean : canonical;
}

Qt::CaseSensitivity pathCase()
{
#if defined(Q_OS_WIN) || defined(Q_OS_MACOS)
    return Qt::CaseInsensitive;
#else
    return Qt::CaseSensitive;
#endif
}

bool sameFolder(const QString &a, const QString &b)
{
    return folderKey(a).compare(folderKey(b), pathCase()) == 0;
}

bool isInside(const QString &folder, const QString &parent)
{
    QString outer = folderKey(parent);
    if (!outer.endsWith(QLatin1Char('/')))
        outer += QLatin1Char('/');
    return folderKey(folder).startsWith(outer, pathCase());
}

QHBoxLayout *folderRow(QLineEdit *edit, QPushButton *button)
{
    auto *row = new QHBoxLayout;
    row->addWidget(edit, 1);
    row->addWidget(button);
    return row;
}

} // namespace

SettingsDialog::SettingsDialog(QWidget *parent)
    : QDialog(parent)
    , m_pickFolder([](QWidget *owner, const QString &caption, const QString &start) {
        return QFileDialog::getExistingDirectory(owner, caption, start);
    })
{
    setWindowTitle(QStringLiteral("选项"));
    setObjectName(QStringLiteral("SettingsDialog"));

    auto *group = new QGroupBox(QStringLiteral("组合自动导入"), this);
    m_scan = new QCheckBox(QStringLiteral("启用组合自动导入"), group);
    m_scan->setObjectName(QStringLiteral("ScanCheck"));
    m_scan->setToolTip(QStringLiteral("组合列表定时扫描该目录，将其中的组合文件导入为组合"));
    m_scanDir = new QLineEdit(group);
    m_scanDir->setObjectName(QStringLiteral("ScanDirEdit"));
    m_scanDirButton = new QPushButton(QStringLiteral("浏览…"), group);
    m_scanDirButton->setObjectName(QStringLiteral("ScanDirButton"));
    m_delete = new QCheckBox(QStringLiteral("导入成功后删除文件（否则移入备份目录；导入失败的文件总是移入备份目录）"), group);
    m_delete->setObjectName(QStringLiteral("DeleteCheck"));
    m_backupDir = new QLineEdit(group);
    m_backupDir->setObjectName(QStringLiteral("BackupDirEdit"));
    m_backupDirButton = new QPushButton(QStringLiteral("浏览…"), group);
    m_backupDirButton->setObjectName(QStringLiteral("BackupDirButton"));

    auto *form = new QFormLayout(group);
    form->addRow(m_scan);
    form->addRow(QStringLiteral("扫描目录："), folderRow(m_scanDir, m_scanDirButton));
    form->addRow(m_delete);
    form->addRow(QStringLiteral("备份目录："), folderRow(m_backupDir, m_backupDirButton));

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("确定"));
    buttons->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("取消"));
    connect(buttons, &QDialogButtonBox::accepted, this, &SettingsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &SettingsDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(group);
    layout->addStretch(1);
    layout->addWidget(buttons);
    resize(560, sizeHint().height());

    const AutoImport current = AutoImport::read(*TzCore::settings());
    m_scan->setChecked(current.scan);
    m_scanDir->setText(QDir::toNativeSeparators(current.scanDir));
    m_delete->setChecked(current.deleteImported);
    m_backupDir->setText(QDir::toNativeSeparators(current.backupDir));

    connect(m_scanDirButton, &QPushButton::clicked, this,
            [this] { browse(m_scanDir, QStringLiteral("选择扫描目录")); });
    connect(m_backupDirButton, &QPushButton::clicked, this,
            [this] { browse(m_backupDir, QStringLiteral("选择备份目录")); });
}

void SettingsDialog::browse(QLineEdit *edit, const QString &caption)
{
    QString start = edit->text().trimmed();
    if (start.isEmpty() || !QFileInfo(start).isDir())
        start = PortfolioTradeSettings::standardLocation();
    const QString folder = m_pickFolder(this, caption, start);
    if (!folder.isEmpty())
        edit->setText(QDir::toNativeSeparators(folder));
}

AutoImport SettingsDialog::autoImport() const
{
    AutoImport settings;
    settings.scan = m_scan->isChecked();
    settings.scanDir = QDir::fromNativeSeparators(m_scanDir->text().trimmed());
    settings.deleteImported = m_delete->isChecked();
    settings.backupDir = QDir::fromNativeSeparators(m_backupDir->text().trimmed());
    return settings;
}

bool SettingsDialog::ensureFolder(const QString &what, const QString &path, QString &problem)
{
    const QFileInfo info(path);
    if (info.isDir())
        return true;
    if (info.exists()) {
        problem = QStringLiteral("%1%2是文件而不是目录。").arg(what, QDir::toNativeSeparators(path));
        return false;
    }
    const QString question = QStringLiteral("%1%2不存在，是否创建？").arg(what, QDir::toNativeSeparators(path));
    if (!VeltraWidget::ShowQuestionMsgBox(question, this, 0))
        return false;  // the trader corrects the path himself
    if (!QDir().mkpath(path)) {
        problem = QStringLiteral("无法创建%1%2，请检查路径与权限。").arg(what, QDir::toNativeSeparators(path));
        return false;
    }
    qInfo().noquote() << "SettingsDialog created" << what << path;
    return true;
}

bool SettingsDialog::check(const AutoImport &settings, QString &problem)
{
    // Off, the folders are kept for later and not looked at.
    if (!settings.scan)
        return true;
    const QString scanWhat = QStringLiteral("扫描目录");
    const QString backupWhat = QStringLiteral("备份目录");
    if (settings.scanDir.isEmpty()) {
        problem = QStringLiteral("启用组合自动导入时须填写扫描目录。");
        return false;
    }
    // A relative folder would depend on where the client was started from.
    if (QDir::isRelativePath(settings.scanDir)) {
        problem = QStringLiteral("扫描目录须为完整路径：%1").arg(m_scanDir->text().trimmed());
        return false;
    }
    // Refused files are moved to the backup folder even when imported ones are deleted:
    // it is always needed.
    if (settings.backupDir.isEmpty()) {
        problem = QStringLiteral("导入失败的文件总是移入备份目录，须填写备份目录。");
        return false;
    }
    if (QDir::isRelativePath(settings.backupDir)) {
        problem = QStringLiteral("备份目录须为完整路径：%1").arg(m_backupDir->text().trimmed());
        return false;
    }
    if (sameFolder(settings.backupDir, settings.scanDir)) {
        problem = QStringLiteral("备份目录不能与扫描目录相同。");
        return false;
    }
    // The watched folder is the inbox: what was taken from it goes elsewhere.
    if (isInside(settings.backupDir, settings.scanDir)) {
        problem = QStringLiteral("备份目录不能位于扫描目录之内。");
        return false;
    }
    if (!ensureFolder(scanWhat, settings.scanDir, problem))
        return false;
    return ensureFolder(backupWhat, settings.backupDir, problem);
}

void SettingsDialog::accept()
{
    const AutoImport settings = autoImport();
    QString problem;
    if (!check(settings, problem)) {
        if (!problem.isEmpty())
            VeltraWidget::ShowWarningMsgBox(problem, this);
        return;
    }
    settings.write(*TzCore::settings());
    qInfo().noquote() << "SettingsDialog auto-import" << (settings.scan ? "on" : "off") << settings.scanDir
                      << (settings.deleteImported ? "delete" : "backup") << settings.backupDir;

    // An open portfolio list reads the settings again at once.
    CPackMessageCommon body;
    CEventMessageCommon event(HostEvents::sourceId,
                              VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(
                                  EventName::PORTFOLIOS_SETTING_CHANGED),
                              body.GetPackedMsg(false));
    MessageBus::instance()->putEvent(event);
    QDialog::accept();
}
