#pragma once

#include "backendservice.h"

#include <QObject>
#include <QThread>
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
    bool isRunning() const { return m_service != nullptr; }

    BackendService *service() const { return m_service; }
    // A fresh client id; any thread may ask.
    static quint64 newClientId() { return BackendService::newClientId(); }

private:
    QThread m_thread;
    BackendService *m_service = nullptr;
};
