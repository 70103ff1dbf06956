// The basket trees the list prepares for the creation dialog: the ETFs the client knows
// under one "ETF组合" root, and the Shenwan industries (level two, with their level-three
// industries below).

#include "portfolioslist.h"

#include "bdportfolioadd.h"
#include "cbusinessdatabase.h"
#include "etflogichandler.h"
#include "fieldkeys.h"
#include "infocenterdatamanagerinterface.h"
#include "tztreeview.h"

#include <QDebug>

void PortfoliosList::initETFInfoList(QList<QMap<int, QMap<QString, QVariant> > > &list)
{
    const QMap<QString, EtfInfo> etfs = ETFLogicHandler::instance().getEtfInfoList(EtfCodeType::all, EtfStatus::all);
    if (etfs.isEmpty()) {
        qInfo() << "PortfoliosList::initETFInfoListETFInfoMap is etmpty, return";
        return;
    }
    CBusinessDataBase *business = CBusinessDataBase::GetInstance();
    QList<RowRecord> children;
    for (const EtfInfo &etf : etfs) {
        const QString id = business->getSecurityIDBySymbol(etf.symbol, QString(), SecurityIDSource::securityID);
        if (id.isEmpty())
            continue;
        RowRecord child;
        QMap<QString, QVariant> &cell = child[0];
        cell.insert(RecordRole::display, id + QStringLiteral("  ") + etf.name);
        cell.insert(Security::securityID, id);
        cell.insert(Security::symbol, etf.symbol);
        cell.insert(Security::symbolName, etf.name);
        children.append(child);
    }
    if (children.isEmpty()) {
        qInfo() << "PortfoliosList::initETFInfoList" << "etfChildList is etmpty, return";
        return;
    }
    RowRecord root;
    root[0].insert(RecordRole::display, QStringLiteral("ETF组合"));
    root[0].insert(TreeRecord::children, QVariant::fromValue(children));
    list.append(root);
    qInfo() << "PortfoliosList::initETFInfoList" << "etfInfoList: " << children.size() << "ETFs";
}

// Level-two industries in code order, each with its level-three industries; an industry
// without a listed stock is left out.
static QList<RowRecord> buildSWTree()
{
    const QMap<QString, QString> symbolToTri = InfoCenterDataManagerInterface::getSymbolIndustryInfoMap();
    const QMap<QString, QString> triNames = InfoCenterDataManagerInterface::getTriLevelCodeAndNameMap();
    const QMap<QString, QString> secNames = InfoCenterDataManagerInterface::getSecLevelCodeAndNameMap();
    const QMap<QString, QString> triToSec = InfoCenterDataManagerInterface::getTriToSecLevelMap();
    QHash<QString, int> members;
    for (const QString &tri : symbolToTri) {
        ++members[tri];
        ++members[triToSec.value(tri)];
    }
    auto node = [&](const QString &code, const QString &name, int level) {
        RowRecord record;
        QMap<QString, QVariant> &cell = record[0];
        cell.insert(RecordRole::display, QStringLiteral("%1（%2）").arg(name).arg(members.value(code)));
        cell.insert(Industry::code, code);
        cell.insert(Industry::name, name);
        cell.insert(Industry::level, level);
        return record;
    };
    QMap<QString, QList<RowRecord>> childrenOf;
    for (auto it = triNames.cbegin(); it != triNames.cend(); ++it) {
        if (members.value(it.key()) > 0)
            childrenOf[triToSec.value(it.key())].append(node(it.key(), it.value(), 3));
    }
    QList<RowRecord> roots;
    for (auto it = secNames.cbegin(); it != secNames.cend(); ++it) {
        if (members.value(it.key()) == 0)
            continue;
        RowRecord root = node(it.key(), it.value(), 2);
        root[0].insert(TreeRecord::children, QVariant::fromValue(childrenOf.value(it.key())));
        roots.append(root);
    }
    return roots;
}

void PortfoliosList::achieveTreeData()
{
    mETFRootList.clear();
    initETFInfoList(mETFRootList);
    qInfo() << "PortfoliosList::achieveTreeData" << " mETFRootList: " << mETFRootList.size();
    mSWRootList.clear();
    mSWRootList = buildSWTree();
    qInfo() << "PortfoliosList::achieveTreeData" << " mSWRootList: " << mSWRootList.size();
    if (m_addDialog) {
        m_addDialog->slotRelodadETFList(mETFRootList);
        m_addDialog->setSWTreeData(mSWRootList);
    }
}

void PortfoliosList::slotInitTreeViewsDataFinished()
{
    qInfo() << "PortfoliosList::slotInitTreeViewsDataFinished";
    achieveTreeData();
}

void PortfoliosList::slotAllETFListLoaded()
{
    mETFRootList.clear();
    initETFInfoList(mETFRootList);
    if (mETFRootList.isEmpty()) {
        qInfo() << "PortfoliosList::slotAllETFListLoaded" << "ETFInfoList is empty, return";
        return;
    }
    emit signalRelodadETFList(mETFRootList);
}
