#include "datafolderbackend.h"

#include <QDebug>

DataFolderBackend::DataFolderBackend(const QString &dataDir, const BackendService::Options &options)
    : m_endpointFile(dataDir + QStringLiteral("/tzapp-backend.json"))
    , m_options(options)
    , m_lock(dataDir + QStringLiteral("/tzapp.lock"))
{
}

DataFolderBackend::~DataFolderBackend()
{
    stop();
}

bool DataFolderBackend::tryLock()
{
    return m_lock.isLocked() || m_lock.tryLock(0);
}

bool DataFolderBackend::start(QString *error)
{
    BackendService::Options options = m_options;
    options.localToken = EmbeddedBackend::newLocalToken();
    if (!m_backend.start(options, error))
        return false;
    m_runsHere = true;
    QString why;
    if (!m_backend.shareLocally(m_endpointFile, &why))
        qWarning().noquote() << "tzapp: other desks on this data folder cannot share the back end:" << why;
    return true;
}

void DataFolderBackend::stop()
{
    m_backend.stop();
    m_runsHere = false;
    if (m_lock.isLocked())
        m_lock.unlock();
}

void DataFolderBackend::follow(QUrl *url, QString *token)
{
    if (!m_runsHere && tryLock()) {
        qInfo().noquote() << "tzapp: the desk that ran the back end of this data folder has gone; this one takes over on"
                          << m_options.databasePath;
        QString error;
        if (!start(&error)) {
            qCritical().noquote() << "tzapp: cannot take over the back end:" << error;
            stop();  // another desk of the folder may have better luck
            return;
        }
    }
    EmbeddedBackend::LocalEndpoint endpoint;
    QString error;
    if (!EmbeddedBackend::readLocalEndpoint(m_endpointFile, &endpoint, &error)) {
        if (m_runsHere) {
            // Running a back end that no desk can reach, this one included, would only
            // keep the lock from a desk that can share it.
            qCritical().noquote() << "tzapp: the back end taken over is not reachable:" << error;
            stop();
        }
        return;
    }
    *url = endpoint.url;
    *token = endpoint.token;
}
