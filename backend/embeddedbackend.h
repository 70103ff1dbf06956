#pragma once

#include "backendservice.h"

#include <QObject>
#include <QThread>
#include <QUrl>

class WebSocketServer;
#include <atomic>

// The back end inside this process: a BackendService on a thread of its own. Clients
// in the process (and the tests) talk to service() by queued signals; each takes an id
// from newClientId().
class EmbeddedBackend : public QObject
{
    Q_OBJECT

public:
    explicit EmbeddedBackend(QObject *parent = nullptr);
    ~EmbeddedBackend() override;

    // Starts the service thread and returns once the database is open, migrated and
    // seeded. On failure the thread is stopped again and *error says why.
    bool start(const BackendService::Options &options, QString *error);
    // Closes the database on the service thread and joins it. Safe to call twice.
    void stop();

    // Serves the other desks of this machine's user that open the same data folder: a
    // WebSocket server on the loopback interface, whose address and the service's local
    // token go into `endpointFile`, readable by this user only (removed by stop()).
    bool shareLocally(const QString &endpointFile, QString *error);
    struct LocalEndpoint
    {
        QUrl url;
        QString token;
    };
    static bool readLocalEndpoint(const QString &endpointFile, LocalEndpoint *endpoint, QString *error);
    // A fresh secret for BackendService::Options::localToken.
    static QString newLocalToken();
    bool isRunning() const { return m_service != nullptr; }

    BackendService *service() const { return m_service; }
    // A fresh client id; any thread may ask.
    static quint64 newClientId() { return BackendService::newClientId(); }

private:
    QThread m_thread;
    BackendService *m_service = nullptr;
    WebSocketServer *m_localServer = nullptr;  // lives on the service thread
    QString m_localToken;
    QString m_endpointFile;
};
