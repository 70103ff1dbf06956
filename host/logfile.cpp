#include "logfile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QMutex>
#include <QTextStream>
#include <cstdio>

namespace {

QMutex g_mutex;
QFile *g_file = nullptr;

const char *levelName(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg: return "DEBUG";
    case QtInfoMsg: return "INFO";
    case QtWarningMsg: return "WARN";
    case QtCriticalMsg: return "ERROR";
    case QtFatalMsg: return "FATAL";
    }
    return "?";
}

void handler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const QByteArray line = QStringLiteral("%1 %2 %3:%4 %5 %6\n")
                                .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")),
                                     QLatin1String(levelName(type)),
                                     QString::fromUtf8(context.file ? context.file : "-"))
                                .arg(context.line)
                                .arg(QString::fromUtf8(context.function ? context.function : "-"), message)
                                .toUtf8();
    QMutexLocker lock(&g_mutex);
    if (g_file) {
        g_file->write(line);
        g_file->flush();
    }
    // QtInfoMsg sorts above the warning levels in Qt's enum: name the levels instead.
    const bool serious = type == QtWarningMsg || type == QtCriticalMsg || type == QtFatalMsg;
    if (serious || !g_file)
        fputs(line.constData(), stderr);
    if (type == QtFatalMsg)
        abort();
}

} // namespace

namespace LogFile {

QString install(const QString &folder)
{
    QDir().mkpath(folder);
    const QString path = folder + QStringLiteral("/tzapp.log");
    auto *file = new QFile(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        fprintf(stderr, "cannot open log file %s\n", qPrintable(path));
        delete file;
        file = nullptr;
    }
    {
        QMutexLocker lock(&g_mutex);
        g_file = file;
    }
    qInstallMessageHandler(handler);
    return path;
}

} // namespace LogFile
