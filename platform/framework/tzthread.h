#pragma once

#include "tzplatform_global.h"

#include <QAtomicInt>
#include <QThread>

// Base of the client's long-lived worker threads. A worker loops in run() while
// keepRunning() holds; stopThread() clears the flag, wakes the worker through wake() (a
// worker blocked on its own semaphore or condition overrides it) and waits for run() to
// return. The thread is named after the object, so a log line or a debugger shows which
// worker it is.
class TZPLATFORM_EXPORT TzThread : public QThread
{
    Q_OBJECT

public:
    explicit TzThread(QObject *parent = nullptr);
    ~TzThread() override;

    // Starts the loop (sets the running flag first, so run() sees it at once).
    void startThread();
    // Ends the loop and waits for the thread; safe to call twice.
    void stopThread();
    bool keepRunning() const { return m_running.loadAcquire() != 0; }

protected:
    // Unblocks a run() that waits for work, so that it sees the cleared flag.
    virtual void wake() {}

private:
    QAtomicInt m_running{0};
};
