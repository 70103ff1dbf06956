#pragma once

#include <QByteArray>
#include <QSqlDatabase>
#include <QString>

// Passwords of users who log in over the network. Only a salted PBKDF2-HMAC-SHA256
// digest is kept (table user_credentials); a check costs the same whether the user
// exists or not, so timing does not tell which names exist.
namespace Credentials {

constexpr int kIterations = 120000;
constexpr int kMinPasswordLength = 8;

struct Digest
{
    QByteArray hash;  // 32 bytes
    QByteArray salt;  // 16 bytes
    int iterations = kIterations;
};

Digest digest(const QString &password, const QByteArray &salt, int iterations = kIterations);
// A fresh random salt from the system's generator.
QByteArray newSalt();
// Equal texts, compared in a time that does not depend on where they differ.
bool sameText(const QString &a, const QString &b);
// Why a password cannot be used, or empty.
QString passwordProblem(const QString &password);

// Sets (or replaces) the password of the user with this id; in the caller's transaction.
bool setPassword(const QSqlDatabase &db, qint64 userId, const QString &password, QString *error);
// What is stored for a user name; `found` is false for an unknown user or one without a
// password, and the rest then describes a dummy that no password matches.
struct Stored
{
    bool found = false;
    qint64 userId = -1;
    Digest digest;
};
bool lookup(const QSqlDatabase &db, const QString &userName, Stored *stored, QString *error);
// The costly part, safe on any thread: true when the password matches what is stored.
// As slow for an unknown user as for a known one.
bool matches(const Stored &stored, const QString &password);

} // namespace Credentials
