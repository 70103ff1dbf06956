#pragma once

#include "embeddedbackend.h"

#include <QLockFile>
#include <atomic>

// The back end of one data folder. Every tzapp opened on the folder has one of these:
// whichever holds the folder's lock (tzapp.lock) runs the back end and shares it over
// loopback with the others (tzapp-backend.json), which link to it as desks of the same
// user. When the desk that runs it closes, a desk that was linked to it takes the lock
// and runs the back end on the same database, and the rest follow that one.
//
// tryLock(), start() and follow() may run on any one thread at a time (follow() on the
// bus thread of the transport that asks); stop() only once nothing calls follow() any
// more, that is after the bus has stopped.
class DataFolderBackend
{
public:
    // options: the back end this desk runs when it is its turn; every start gets a
    // fresh local token.
    DataFolderBackend(const QString &dataDir, const BackendService::Options &options);
    ~DataFolderBackend();

    // Takes the folder's lock unless another live tzapp holds it.
    bool tryLock();
    // With the lock held: starts the back end and shares it with the folder's other
    // desks. A failure to share is only logged: this desk runs on it all the same.
    bool start(QString *error);
    // Stops the back end and lets the lock go at once, so that another desk can take
    // over without waiting for this process to end.
    void stop();

    // Asked before each attempt of a linked desk to reconnect: when the desk that ran
    // the back end has gone, this one takes over; either way url and token then name
    // whoever serves the folder now. They stay as they were while nobody does.
    void follow(QUrl *url, QString *token);

    bool runsHere() const { return m_runsHere.load(); }
    EmbeddedBackend &backend() { return m_backend; }
    const BackendService::Options &options() const { return m_options; }
    QString endpointFile() const { return m_endpointFile; }

private:
    const QString m_endpointFile;
    const BackendService::Options m_options;
    QLockFile m_lock;
    EmbeddedBackend m_backend;
    std::atomic<bool> m_runsHere{false};
};
