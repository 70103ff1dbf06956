#include "portfoliodetailbasicinfo.h"

#include "fieldkeys.h"
#include "securitycatalog.h"

#include <cmath>

bool PortfolioItem::operator==(const PortfolioItem &o) const
{
    return m_symbol == o.m_symbol && m_symbolName == o.m_symbolName && m_exchange == o.m_exchange
        && m_quantity == o.m_quantity && qFuzzyCompare(1.0 + m_absWeight, 1.0 + o.m_absWeight)
        && qFuzzyCompare(1.0 + m_relWeight, 1.0 + o.m_relWeight) && m_side == o.m_side
        && m_entrustType == o.m_entrustType && m_entrustProp == o.m_entrustProp
        && qFuzzyCompare(1.0 + m_customerPrice, 1.0 + o.m_customerPrice)
        && qFuzzyCompare(1.0 + m_algoLimitPrice, 1.0 + o.m_algoLimitPrice);
}

bool PortfolioDetailBasicInfo::operator==(const PortfolioDetailBasicInfo &o) const
{
    return m_portfolioNo == o.m_portfolioNo && m_name == o.m_name && m_strategyId == o.m_strategyId
        && m_strategyName == o.m_strategyName && m_defaultNum == o.m_defaultNum && m_createDate == o.m_createDate
        && m_deleteFlag == o.m_deleteFlag && m_portParamType == o.m_portParamType && m_items == o.m_items
        && m_extension == o.m_extension;
}

void PortfolioDetailBasicInfo::setExtensionDescription(QVariantMap extension)
{
    m_extension = std::move(extension);
    // The back end derives the same type from the same map when it stores it.
    m_portParamType = m_extension.value(Portfolio::algoParam).toMap().isEmpty() ? 0 : 1;
}

int PortfolioDetailBasicInfo::CalculateWeight()
{
    QVector<WeightLine> lines;
    lines.reserve(m_items.size());
    for (const PortfolioItem &item : qAsConst(m_items))
        lines.append({item.Symbol(), item.Quantity(), item.RelWeight()});
    const int rc = CalculateWeight(lines);
    if (rc != 0)
        return rc;
    for (int i = 0; i < m_items.size(); ++i) {
        PortfolioItem &item = m_items[i];
        item.setRelWeight(lines.at(i).relWeight);
        item.setAbsWeight(lines.at(i).relWeight * 100.0);
    }
    return 0;
}

int PortfolioDetailBasicInfo::CalculateWeight(QVector<WeightLine> &lines)
{
    if (lines.isEmpty())
        return -1;

    const SecurityCatalog &catalog = SecurityCatalog::instance();
    QVector<double> raw(lines.size());
    bool byValue = true;
    for (int i = 0; i < lines.size() && byValue; ++i) {
        const WeightLine &line = lines.at(i);
        const SecurityInfo *s = catalog.bySymbol(line.symbol);
        if (line.quantity <= 0 || !s || s->preClosePx <= 0.0)
            byValue = false;
        else
            raw[i] = double(line.quantity) * s->preClosePx;
    }
    if (!byValue) {
        for (int i = 0; i < lines.size(); ++i)
            raw[i] = std::max(0.0, lines.at(i).relWeight);
    }
    double total = 0.0;
    for (double v : qAsConst(raw))
        total += v;
    if (!(total > 0.0))
        return -2;

    for (int i = 0; i < lines.size(); ++i)
        lines[i].relWeight = raw.at(i) / total;
    return 0;
}
