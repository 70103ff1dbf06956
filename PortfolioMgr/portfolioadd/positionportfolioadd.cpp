#include "positionportfolioadd.h"

#include "portfolioaddrows.h"

#include <QDebug>

void PositionPortfolioAdd::transTableDataToPortInfo(const QList<QMap<int, QMap<QString, QVariant> > > &rows,
                                                    PortfolioDetailBasicInfo &info, const QString &fundAccount,
                                                    const PortfolioPortType &portType)
{
    QList<PortfolioItem> items;
    items.reserve(rows.size());
    for (const auto &row : rows) {
        if (row.isEmpty() || row.value(PortfolioAddRows::Code).isEmpty()) {
            qDebug() << "recordMap is empty, continue";
            continue;
        }
        const PortfolioItem item = PortfolioAddRows::itemOf(row);
        if (item.Symbol().isEmpty() || item.Quantity() <= 0) {
            qDebug().noquote() << "PositionPortfolioAdd::transTableDataToPortInfo skip" << item.Symbol()
                               << item.Quantity();
            continue;
        }
        items.append(item);
    }
    info.setSymbolList(items);
    QVariantMap extension;
    extension.insert(Portfolio::portType, PortTypeText(portType));
    extension.insert(Portfolio::algoParam, QVariantMap{{ImportField::FundAccount, fundAccount}});
    info.setExtensionDescription(extension);
}
