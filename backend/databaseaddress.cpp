#include "databaseaddress.h"

#include <QStringList>
#include <QUrl>
#include <QUrlQuery>

namespace {

const QString kDefaultConnectTimeout = QStringLiteral("10");  // seconds

// A value in a libpq connection string: quoted, with backslash and quote escaped.
QString libpqQuoted(QString value)
{
    value.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    value.replace(QLatin1Char('\''), QLatin1String("\\'"));
    return QLatin1Char('\'') + value + QLatin1Char('\'');
}

bool hasParameter(const QList<QPair<QString, QString>> &parameters, const QString &key)
{
    for (const auto &parameter : parameters) {
        if (parameter.first == key)
            return true;
    }
    return false;
}

} // namespace

bool DatabaseAddress::isPostgresUrl(const QString &text)
{
    return text.startsWith(QLatin1String("postgresql://"), Qt::CaseInsensitive)
           || text.startsWith(QLatin1String("postgres://"), Qt::CaseInsensitive);
}

bool DatabaseAddress::parse(const QString &text, DatabaseAddress *address, QString *error)
{
    *address = DatabaseAddress();
    if (!isPostgresUrl(text)) {
        address->path = text;
        return true;
    }
    address->postgres = true;
    const QUrl url(text, QUrl::StrictMode);
    // QUrl's own reason quotes the whole text, password included: not passed on.
    const auto refuse = [error](const QString &why) {
        *error = QStringLiteral("数据库地址无效：%1").arg(why);
        return false;
    };
    if (!url.isValid())
        return refuse(QStringLiteral("不是有效的URL（用户名、密码和数据库名中的特殊字符需写成百分号编码，"
                                     "如@写作%40）"));
    address->host = url.host(QUrl::FullyDecoded);
    address->port = url.port(-1);
    address->userName = url.userName(QUrl::FullyDecoded);
    address->password = url.password(QUrl::FullyDecoded);
    address->databaseName = url.path(QUrl::FullyDecoded).mid(1);
    const auto items = QUrlQuery(url).queryItems(QUrl::FullyDecoded);
    for (const auto &item : items) {
        const QString &key = item.first;
        if (key == QLatin1String("host")) {
            address->host = item.second;
        } else if (key == QLatin1String("port")) {
            bool ok = false;
            address->port = item.second.toInt(&ok);
            if (!ok || address->port <= 0 || address->port > 65535)
                return refuse(QStringLiteral("端口%1不是1到65535之间的整数").arg(item.second));
        } else if (key == QLatin1String("dbname")) {
            address->databaseName = item.second;
        } else if (key == QLatin1String("user")) {
            address->userName = item.second;
        } else if (key == QLatin1String("password")) {
            address->password = item.second;
        } else if (key.isEmpty()) {
            return refuse(QStringLiteral("参数名为空"));
        } else if (item.second.contains(QLatin1Char(';'))) {
            // The driver takes the parameters as one text split at semicolons.
            return refuse(QStringLiteral("参数%1的值不能含分号").arg(key));
        } else {
            address->parameters.append(item);
        }
    }
    return true;
}

QString DatabaseAddress::displayName() const
{
    if (!postgres)
        return path;
    QUrl url;
    url.setScheme(QStringLiteral("postgresql"));
    url.setUserName(userName);
    QUrlQuery query;
    // A socket folder is no host name: it goes into the query, as libpq accepts it there.
    if (host.contains(QLatin1Char('/')))
        query.addQueryItem(QStringLiteral("host"), host);
    else
        url.setHost(host);
    url.setPort(port);
    url.setPath(QLatin1Char('/') + databaseName);
    for (const auto &parameter : parameters)
        query.addQueryItem(parameter.first, parameter.second);
    url.setQuery(query);
    return url.toString();
}

QString DatabaseAddress::serverText() const
{
    if (!postgres)
        return path;
    // A host name takes its port after a colon; a socket folder or the default does not.
    const bool named = !host.isEmpty() && !host.contains(QLatin1Char('/'));
    QString server = host.isEmpty() ? QStringLiteral("默认服务器") : host;
    if (port > 0)
        server += (named ? QStringLiteral(":") : QStringLiteral("，端口")) + QString::number(port);
    QString text = QStringLiteral("服务器%1，数据库%2")
                       .arg(server, databaseName.isEmpty() ? QStringLiteral("（默认）") : databaseName);
    if (!userName.isEmpty())
        text += QStringLiteral("，用户%1").arg(userName);
    return text;
}

QString DatabaseAddress::connectOptions() const
{
    QStringList options;
    for (const auto &parameter : parameters)
        options << parameter.first + QLatin1Char('=') + libpqQuoted(parameter.second);
    // A server that does not answer is reported after a while instead of never.
    if (!hasParameter(parameters, QStringLiteral("connect_timeout")))
        options << QStringLiteral("connect_timeout=") + kDefaultConnectTimeout;
    return options.join(QLatin1Char(';'));
}

QSqlDatabase DatabaseAddress::addConnection(const QString &connectionName) const
{
    if (!postgres) {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName);
        db.setDatabaseName(path);
        return db;
    }
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), connectionName);
    db.setHostName(host);
    db.setPort(port);
    db.setDatabaseName(databaseName);
    db.setUserName(userName);
    db.setPassword(password);
    db.setConnectOptions(connectOptions());
    return db;
}
