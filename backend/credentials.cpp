#include "credentials.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <openssl/evp.h>

namespace Credentials {

namespace {

bool sameBytes(const QByteArray &a, const QByteArray &b)
{
    // Compares every byte whatever the first difference, so the time says nothing.
    if (a.size() != b.size())
        return false;
    unsigned char diff = 0;
    for (int i = 0; i < a.size(); ++i)
        diff |= static_cast<unsigned char>(a.at(i) ^ b.at(i));
    return diff == 0;
}

} // namespace

bool sameText(const QString &a, const QString &b)
{
    return sameBytes(a.toUtf8(), b.toUtf8());
}

Digest digest(const QString &password, const QByteArray &salt, int iterations)
{
    Digest d;
    d.salt = salt;
    d.iterations = iterations;
    // OpenSSL's PBKDF2 is five times faster than Qt's (the same bytes): a server that
    // restarts sees all its desks log in again at once.
    const QByteArray utf8 = password.toUtf8();
    QByteArray hash(32, Qt::Uninitialized);
    if (iterations <= 0
        || PKCS5_PBKDF2_HMAC(utf8.constData(), utf8.size(), reinterpret_cast<const unsigned char *>(salt.constData()),
                             salt.size(), iterations, EVP_sha256(), hash.size(),
                             reinterpret_cast<unsigned char *>(hash.data())) != 1)
        hash.clear();  // matches nothing: sameBytes() needs equal sizes
    d.hash = hash;
    return d;
}

QByteArray newSalt()
{
    QByteArray salt(16, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(salt.data()), salt.size() / 4);
    return salt;
}

QString passwordProblem(const QString &password)
{
    if (password.size() < kMinPasswordLength)
        return QStringLiteral("密码至少需要%1个字符").arg(kMinPasswordLength);
    if (password.size() > 1024)
        return QStringLiteral("密码不能超过1024个字符");
    return QString();
}

bool setPassword(const QSqlDatabase &db, qint64 userId, const QString &password, QString *error)
{
    const QString problem = passwordProblem(password);
    if (!problem.isEmpty()) {
        *error = problem;
        return false;
    }
    const Digest d = digest(password, newSalt());
    QSqlQuery remove(db);
    remove.prepare(QStringLiteral("DELETE FROM user_credentials WHERE user_id = ?"));
    remove.addBindValue(userId);
    QSqlQuery insert(db);
    insert.prepare(QStringLiteral("INSERT INTO user_credentials (user_id, password_hash, salt, iterations, updated_at)"
                                  " VALUES (?, ?, ?, ?, ?)"));
    insert.addBindValue(userId);
    insert.addBindValue(QString::fromLatin1(d.hash.toHex()));
    insert.addBindValue(QString::fromLatin1(d.salt.toHex()));
    insert.addBindValue(d.iterations);
    insert.addBindValue(QDateTime::currentDateTimeUtc().toString(Qt::ISODate));
    if (!remove.exec() || !insert.exec()) {
        *error = QStringLiteral("密码无法保存：%1").arg((remove.lastError().isValid() ? remove : insert).lastError().text());
        return false;
    }
    return true;
}

bool lookup(const QSqlDatabase &db, const QString &userName, Stored *stored, QString *error)
{
    *stored = Stored();
    stored->digest.salt = QByteArrayLiteral("tzbackend-nouser");
    stored->digest.hash = QByteArray(32, '\0');
    QSqlQuery query(db);
    query.prepare(QStringLiteral("SELECT u.id, c.password_hash, c.salt, c.iterations FROM users u"
                                 " JOIN user_credentials c ON c.user_id = u.id WHERE u.user_name = ?"));
    query.addBindValue(userName);
    if (!query.exec()) {
        *error = QStringLiteral("登录校验失败：%1").arg(query.lastError().text());
        return false;
    }
    if (query.next()) {
        stored->found = true;
        stored->userId = query.value(0).toLongLong();
        stored->digest.hash = QByteArray::fromHex(query.value(1).toString().toLatin1());
        stored->digest.salt = QByteArray::fromHex(query.value(2).toString().toLatin1());
        stored->digest.iterations = qMax(1, query.value(3).toInt());
    }
    return true;
}

bool matches(const Stored &stored, const QString &password)
{
    const Digest d = digest(password, stored.digest.salt, stored.digest.iterations);
    return sameBytes(d.hash, stored.digest.hash) && stored.found;
}

} // namespace Credentials
