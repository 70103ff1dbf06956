#include "faultinjector.h"

#include <QMutexLocker>

void FaultInjector::failNext(const QString &type, const QString &text)
{
    plan(type, {Action::Fail, text, 0});
}

void FaultInjector::delayNext(const QString &type, int ms)
{
    plan(type, {Action::Delay, QString(), qMax(0, ms)});
}

void FaultInjector::dropNext(const QString &type)
{
    plan(type, {Action::Drop, QString(), 0});
}

void FaultInjector::clear()
{
    QMutexLocker lock(&m_mutex);
    m_plans.clear();
}

FaultInjector::Fault FaultInjector::take(const QString &type)
{
    QMutexLocker lock(&m_mutex);
    const auto it = m_plans.find(type);
    if (it == m_plans.end())
        return Fault();
    const Fault fault = it->takeFirst();
    if (it->isEmpty())
        m_plans.erase(it);
    return fault;
}

void FaultInjector::plan(const QString &type, const Fault &fault)
{
    QMutexLocker lock(&m_mutex);
    m_plans[type].append(fault);
}
