// VeltraUtils: quantity display, business messages, file dialogs and placement.

#include "veltrautils.h"

#include <charconv>

#include "tzcore.h"

#include <QApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLocale>
#include <QMutex>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QWidget>
#include <cmath>

namespace {

QMutex g_mutex;
QMutex g_sinkMutex;  // guards g_busiSink and every call of it
VeltraUtils::BusiMsgSink g_busiSink;
VeltraUtils::OpenFileNameHook g_openHook;

QString grouped(const QString &integerDigits)
{
    QString out;
    const int n = integerDigits.size();
    for (int i = 0; i < n; ++i) {
        if (i > 0 && (n - i) % 3 == 0)
            out += QLatin1Char(',');
        out += integerDigits.at(i);
    }
    return out;
}

const char *levelText(BusiMsgLevel level)
{
    switch (level) {
    case BusiMsgLevel::Info: return "信息";
    case BusiMsgLevel::Warning: return "警告";
    case BusiMsgLevel::Error: return "错误";
    case BusiMsgLevel::Emergency: return "紧急";
    }
    return "";
}

} // namespace

QString VeltraUtils::FixedText(double value, int decimals)
{
    decimals = qBound(0, decimals, 17);
    if (value == 0.0)
        value = 0.0;  // Qt writes negative zero without its sign
    // An exact tie (0.125 to two places) is rounded away from zero as Qt and a trader do,
    // where to_chars would round it to even. A tie at d places is an odd multiple of
    // 2^-(d+1), which the scaling below tests exactly; the next double outward then
    // rounds the same way without crossing another boundary.
    if (std::isfinite(value) && std::abs(std::fmod(std::ldexp(value, decimals + 1), 2.0)) == 1.0)
        value = std::nextafter(value, value > 0.0 ? HUGE_VAL : -HUGE_VAL);
    char buffer[400];  // the longest fixed form of a double with 17 decimals fits
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    if (!std::isfinite(value) || result.ec != std::errc())
        return QString::number(value, 'f', decimals);
    return QString::fromLatin1(buffer, int(result.ptr - buffer));
}

QString VeltraUtils::CompactNumber(double value, int decimals)
{
    QString text = FixedText(value, decimals);
    if (text.contains(QLatin1Char('.'))) {
        int end = text.size();
        while (text.at(end - 1) == QLatin1Char('0'))
            --end;
        if (text.at(end - 1) == QLatin1Char('.'))
            --end;
        text.truncate(end);
    }
    return text == QLatin1String("-0") ? QStringLiteral("0") : text;
}

QString VeltraUtils::TransQtyShowType(const QString &text, ShowType showType)
{
    if (showType == ShowPlain)
        return text;
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return text;
    if (showType == ShowWanYi) {
        const double magnitude = std::abs(value);
        if (magnitude >= 1e8)
            return FixedText(value / 1e8, 2) + QStringLiteral("亿");
        if (magnitude >= 1e4)
            return FixedText(value / 1e4, 2) + QStringLiteral("万");
        return text;
    }
    // Thousands separators on the integer part; the decimals stay as they were written.
    QString body = text.trimmed();
    QString sign;
    if (body.startsWith(QLatin1Char('-')) || body.startsWith(QLatin1Char('+'))) {
        sign = body.left(1);
        body = body.mid(1);
    }
    const int dot = body.indexOf(QLatin1Char('.'));
    const QString integer = dot < 0 ? body : body.left(dot);
    const QString fraction = dot < 0 ? QString() : body.mid(dot);
    for (QChar c : integer) {
        if (!c.isDigit())
            return text;  // exponent forms and the like stay as they are
    }
    return sign + grouped(integer) + fraction;
}

ShowType VeltraUtils::GetCurrentShowType()
{
    const int value = TzCore::settings()->value(QStringLiteral("Display/QtyShowType"), int(ShowThousands)).toInt();
    return value == ShowThousands ? ShowThousands : value == ShowWanYi ? ShowWanYi : ShowPlain;
}

void VeltraUtils::PutBusiMsg(BusiMsgLevel level, BusiMsgType type, BusiMsgItem item, const QString &text,
                             const QString &code, const QString &errorNo)
{
    Q_UNUSED(type)
    Q_UNUSED(item)
    QString line = QStringLiteral("%1 [%2] %3")
                       .arg(QDateTime::currentDateTime().toString(QStringLiteral("hh:mm:ss")),
                            QString::fromUtf8(levelText(level)), text);
    if (!code.isEmpty() || !errorNo.isEmpty())
        line += QStringLiteral("（%1 %2）").arg(code, errorNo).replace(QStringLiteral(" ）"), QStringLiteral("）"));
    qInfo().noquote() << "VeltraUtils::PutBusiMsg" << line;
    // The sink is called under its own lock: once setBusiMsgSink has replaced it, no
    // thread is still inside the old one (whose owner may be going away).
    QMutexLocker lock(&g_sinkMutex);
    if (g_busiSink)
        g_busiSink(level, line);
}

void VeltraUtils::setBusiMsgSink(BusiMsgSink sink)
{
    QMutexLocker lock(&g_sinkMutex);
    g_busiSink = std::move(sink);
}

QString VeltraUtils::GetOpenTableFileName(QWidget *parent, const QString &caption, const QString &directory,
                                          int format)
{
    const QString filter = format == 1 ? QStringLiteral("Excel 工作簿 (*.xlsx)")
        : format == 2                  ? QStringLiteral("CSV 文件 (*.csv)")
                                       : QStringLiteral("表格文件 (*.xlsx *.csv)");
    const QString start = directory.isEmpty() ? LastTableFolder() : directory;
    OpenFileNameHook hook;
    {
        QMutexLocker lock(&g_mutex);
        hook = g_openHook;
    }
    const QString path = hook ? hook(parent, caption, start, filter)
                              : QFileDialog::getOpenFileName(parent, caption, start, filter);
    RememberTableFolder(path);
    return path;
}

QString VeltraUtils::LastTableFolder()
{
    const QString last = TzCore::settings()->value(QStringLiteral("Dialogs/LastTableFolder")).toString();
    if (!last.isEmpty() && QFileInfo(last).isDir())
        return last;
    // The user's documents folder, made when the desktop has not made it yet.
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return !documents.isEmpty() && QDir().mkpath(documents) ? documents : QDir::homePath();
}

void VeltraUtils::RememberTableFolder(const QString &filePath)
{
    if (!filePath.isEmpty())
        TzCore::settings()->setValue(QStringLiteral("Dialogs/LastTableFolder"), QFileInfo(filePath).absolutePath());
}

void VeltraUtils::setOpenFileNameHook(OpenFileNameHook hook)
{
    QMutexLocker lock(&g_mutex);
    g_openHook = std::move(hook);
}

QPoint VeltraUtils::GetWidgetPos(QWidget *anchor, const QSize &dialogSize)
{
    QRect area = QGuiApplication::primaryScreen() ? QGuiApplication::primaryScreen()->availableGeometry()
                                                  : QRect(0, 0, 1280, 800);
    QPoint centre = area.center();
    if (anchor) {
        const QWidget *window = anchor->window();
        centre = window->mapToGlobal(window->rect().center());
        if (QScreen *screen = window->screen())
            area = screen->availableGeometry();
    }
    QPoint pos(centre.x() - dialogSize.width() / 2, centre.y() - dialogSize.height() / 2);
    pos.setX(qBound(area.left(), pos.x(), qMax(area.left(), area.right() - dialogSize.width())));
    pos.setY(qBound(area.top(), pos.y(), qMax(area.top(), area.bottom() - dialogSize.height())));
    return pos;
}

QString VeltraUtils::GetSkinStyleSheet(const QString &relativePath)
{
    QFile file(TzCore::dataDir() + QStringLiteral("/skin/") + relativePath);
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning() << "VeltraUtils::GetSkinStyleSheet cannot read" << file.fileName();
        return QString();
    }
    return QString::fromUtf8(file.readAll());
}
