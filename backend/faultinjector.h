#pragma once

#include <QHash>
#include <QList>
#include <QMutex>
#include <QString>

// Planned misbehaviour of the back end, for exercising clients against failures, slow
// answers and lost answers. Each plan applies to the next request of one type; plans for
// the same type queue up in the order they were made. Any thread may plan; the service
// thread takes.
class FaultInjector
{
public:
    enum class Action { None, Fail, Delay, Drop };

    struct Fault
    {
        Action action = Action::None;
        QString text;     // Fail: the reason given in the answer
        int delayMs = 0;  // Delay: how long the request waits before it is handled
    };

    // The next request of this type is answered with failure and this reason; the
    // database is not touched.
    void failNext(const QString &type, const QString &text);
    // The next request of this type is handled and answered after ms milliseconds;
    // other requests are served meanwhile.
    void delayNext(const QString &type, int ms);
    // The next request of this type is never answered.
    void dropNext(const QString &type);
    void clear();

    // Removes and returns the plan for a request of this type (Action::None if none).
    Fault take(const QString &type);

private:
    void plan(const QString &type, const Fault &fault);

    QMutex m_mutex;
    QHash<QString, QList<Fault>> m_plans;
};
