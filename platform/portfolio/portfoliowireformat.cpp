#include "portfoliowireformat.h"

#include "cbusinessdatabase.h"
#include "fieldkeys.h"
#include "portfoliorecordaccess.h"
#include "securitycatalog.h"
#include "veltrabusinessdatainterface.h"

#include <QDebug>
#include <QJsonDocument>

namespace PortfolioWireFormat {

PortfolioItem itemFromRow(const QVariantMap &row)
{
    PortfolioItem item;
    const QString code = row.value(RequestField::securityID).toString();
    const QString market = row.value(RequestField::securityExchange).toString();
    QString symbol = VeltraBusinessDataInterface::GetSymbolBySecurityIDAndExchange(code, market);
    if (symbol.isEmpty()) {
        // Keep the line visible under its raw code rather than losing it.
        symbol = SecurityCatalog::symbolFor(code, market);
        qInfo() << "PortfolioWireFormat::itemFromRow unknown security" << code << market;
    }
    item.setSymbol(symbol);
    item.setSymbolName(CBusinessDataBase::GetInstance()->GetSecurityChineseName(symbol));
    item.setSymbolExchange(market);
    item.setSide(row.value(RequestField::side).toString());
    item.setQuantity(row.value(RequestField::tradeQty).toLongLong());
    item.setRelWeight(row.value(RequestField::positionWeight).toDouble());
    item.setPortEntrustType(row.value(RequestField::entrustType).toString());
    item.setPortEntrustProp(row.value(RequestField::batchEntrustProp).toString());
    PortfolioRecordAccess::setPrices(item, row.value(RequestField::customerPrice).toDouble(),
                                     row.value(RequestField::limitPrice).toDouble());
    return item;
}

PortfolioDetailBasicInfo portfolioFromRow(const QVariantMap &row)
{
    PortfolioDetailBasicInfo info;
    info.setPortfolioNo(row.value(RequestField::portfolioNo).toString());
    info.setName(row.value(RequestField::portfolioName).toString());
    info.setStrategyID(row.value(RequestField::strategyNo).toString());
    info.setStrategyName(row.value(RequestField::strategyName).toString());
    info.setDefaultNum(row.value(RequestField::defaultBasketSize).toLongLong());
    const QByteArray json = row.value(RequestField::portfolioExtensionDescription).toString().toUtf8();
    if (!json.isEmpty())
        info.setExtensionDescription(QJsonDocument::fromJson(json).toVariant().toMap());
    info.setCreateDate(row.value(RequestField::createTime).toDateTime());
    PortfolioRecordAccess::setDeleteFlag(info, row.value(RequestField::deleteFlag).toBool());
    PortfolioRecordAccess::setPortParamType(info, row.value(RequestField::portParamType).toInt());

    QList<PortfolioItem> items;
    const QVariantList lines = row.value(RequestField::details).toList();
    items.reserve(lines.size());
    for (const QVariant &line : lines)
        items.append(itemFromRow(line.toMap()));
    info.setSymbolList(items);
    // Same weights as the creation paths compute before storing.
    info.CalculateWeight();
    return info;
}

PortfolioStrategyInfo strategyFromRow(const QVariantMap &row)
{
    PortfolioStrategyInfo info;
    info.setStrategyNo(row.value(RequestField::strategyNo).toString());
    info.setStrategyName(row.value(RequestField::strategyName).toString());
    PortfolioRecordAccess::setStrategyTypeAndStatus(info, row.value(RequestField::strategyType).toString(),
                                                    row.value(RequestField::StrategyManaStatus).toString());
    return info;
}

} // namespace PortfolioWireFormat
