#pragma once

#include "tzplatform_global.h"

#include <QMetaType>
#include <QString>

class PortfolioRecordAccess;

// One security line of a portfolio.
class TZPLATFORM_EXPORT PortfolioItem
{
public:
    QString Symbol() const { return m_symbol; }
    void setSymbol(const QString &symbol) { m_symbol = symbol; }
    QString SymbolName() const { return m_symbolName; }
    void setSymbolName(const QString &name) { m_symbolName = name; }
    QString SymbolExchange() const { return m_exchange; }
    void setSymbolExchange(const QString &exchange) { m_exchange = exchange; }
    qint64 Quantity() const { return m_quantity; }
    void setQuantity(qint64 quantity) { m_quantity = quantity; }
    double AbsWeight() const { return m_absWeight; }
    void setAbsWeight(double weight) { m_absWeight = weight; }
    double RelWeight() const { return m_relWeight; }
    void setRelWeight(double weight) { m_relWeight = weight; }
    QString Side() const { return m_side; }
    void setSide(const QString &side) { m_side = side; }
    QString PortEntrustType() const { return m_entrustType; }
    void setPortEntrustType(const QString &type) { m_entrustType = type; }
    QString PortEntrustProp() const { return m_entrustProp; }
    void setPortEntrustProp(const QString &prop) { m_entrustProp = prop; }
    double CustomerOrderPrice() const { return m_customerPrice; }
    double AlgoLimitPrice() const { return m_algoLimitPrice; }

    bool operator==(const PortfolioItem &o) const;

private:
    friend class PortfolioRecordAccess;

    QString m_symbol;
    QString m_symbolName;
    QString m_exchange;
    qint64 m_quantity = 0;
    double m_absWeight = 0.0;
    double m_relWeight = 0.0;
    QString m_side;
    QString m_entrustType;
    QString m_entrustProp;
    double m_customerPrice = 0.0;
    double m_algoLimitPrice = 0.0;
};

Q_DECLARE_METATYPE(PortfolioItem)
