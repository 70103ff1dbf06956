#include "tzthread.h"

#include <QDebug>

TzThread::TzThread(QObject *parent)
    : QThread(parent)
{
}

TzThread::~TzThread()
{
    // A subclass stops its own loop in its destructor (wake() is virtual); this is the
    // last guard against destroying a running thread.
    if (QThread::isRunning()) {
        m_running.storeRelease(0);
        wait();
    }
}

void TzThread::startThread()
{
    if (QThread::isRunning())
        return;
    m_running.storeRelease(1);
    start();
    qInfo().noquote() << "TzThread started:" << objectName();
}

void TzThread::stopThread()
{
    if (!m_running.fetchAndStoreOrdered(0) && !QThread::isRunning())
        return;
    wake();
    wait();
    qInfo().noquote() << "TzThread stopped:" << objectName();
}
