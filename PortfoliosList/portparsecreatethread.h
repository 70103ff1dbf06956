#pragma once

#include "tzthread.h"

#include <QMutex>
#include <QSemaphore>
#include <QStringList>

class PortfoliosListPresenterClass;

// The auto-import worker: takes the paths the presenter's folder scan hands over, one at a
// time, reads each file into portfolio lines, creates the portfolio on the back end (the
// blocking request waits on this thread only) and stores it, then tells the presenter
// through signalFileParseFinished (queued to the GUI thread), with an empty number when
// the file was refused. Refusals also go to the business message panel.
class PortParseCreateThread : public TzThread
{
    Q_OBJECT

public:
    explicit PortParseCreateThread(PortfoliosListPresenterClass *presenter);
    ~PortParseCreateThread() override;

    // Queues a path and wakes the worker (any thread).
    void enqueue(const QString &path);
    // Paths queued and not taken yet.
    int queued() const;

signals:
    void signalFileParseFinished(QString filePath, QString portNo);

protected:
    void run() override;
    void wake() override { m_semaphore.release(); }

private:
    // The portfolio made from the file, or an empty number after reporting why not.
    QString createFrom(const QString &path);

    PortfoliosListPresenterClass *m_presenter;
    mutable QMutex m_mutex;  // guards m_queue
    QStringList m_queue;
    QSemaphore m_semaphore{0};
};
