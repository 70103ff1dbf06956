// The creation dialog's account pages: rebalance to target holdings, positions, short
// sale and the (built, not offered) return of borrowed securities.
#include "bdportfolioadd.h"
#include "ui_bdportfolioadd.h"

#include "accountrows.h"
#include "bdportfolioadddelegate.h"
#include "businessdatainterface.h"
#include "cbusinessdatabase.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "importsecurityresolver.h"
#include "importvalue.h"
#include "portfoliolistbasicinfo.h"
#include "positionportfolioadd.h"
#include "securitycatalog.h"
#include "tablefilereader.h"
#include "tzpresenterclass.h"
#include "veltrabusinessdatainterface.h"
#include "veltrautils.h"
#include "veltrawidget.h"

#include <QApplication>
#include <QDateTime>
#include <QDebug>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QRegularExpressionValidator>
#include <QTimer>

using namespace PortfolioAddRows;

namespace {

const int kQuoteWaitMs = 5000;
// Lines named in a note before the rest are only counted.
const int kNoteNames = 10;

// The pattern with %1 = the line number (base 10) and %2, %3 ... = the further texts,
// put in one pass, so that a "%3" inside a cell's text stays as it is.
QString rowMessage(const QString &pattern, int line, const QStringList &more = QStringList())
{
    QString out;
    for (int i = 0; i < pattern.size(); ++i) {
        const QChar c = pattern.at(i);
        if (c == QLatin1Char('%') && i + 1 < pattern.size() && pattern.at(i + 1).isDigit()) {
            const int n = pattern.at(i + 1).digitValue();
            if (n == 1) {
                out += QString::number(line, 10);
                ++i;
                continue;
            }
            if (n >= 2 && n - 2 < more.size()) {
                out += more.at(n - 2);
                ++i;
                continue;
            }
        }
        out += c;
    }
    return out;
}

QString keysNote(const QStringList &keys)
{
    QStringList names;
    for (const QString &key : keys.mid(0, kNoteNames)) {
        const QString symbol = key.left(key.lastIndexOf(QLatin1Char('_')));
        const QString name = CBusinessDataBase::GetInstance()->GetSecurityChineseName(symbol);
        names << (name.isEmpty() ? symbol : QStringLiteral("%1 %2").arg(symbol, name));
    }
    QString text = names.join(QStringLiteral("、"));
    if (keys.size() > kNoteNames)
        text += QStringLiteral(" 等%1只").arg(keys.size());
    return text;
}

} // namespace

void BDPortfolioAdd::initAccountPages()
{
    ui->cmb_PRFileType->addItem(QStringLiteral("按目标权重"), 1);
    ui->cmb_PRFileType->addItem(QStringLiteral("按目标数量"), 0);
    ui->lineEdit_PRAmount->setValidator(
        new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]{1,9}")), ui->lineEdit_PRAmount));
    ui->lineEdit_PRAmount->setPlaceholderText(QStringLiteral("元"));
    ui->cmb_PRPriceType->addItem(QStringLiteral("按最新价计算"), PriceLatest);
    ui->cmb_PRPriceType->addItem(QStringLiteral("按昨收价计算"), PricePreClose);
    ui->cmb_PRPriceType->addItem(QStringLiteral("按买一价计算"), PriceBid1);
    ui->cmb_PRPriceType->addItem(QStringLiteral("按卖一价计算"), PriceAsk1);
    ui->cmb_PROddLot->addItem(QStringLiteral("向下取整到整手"), OddLotType::RoundDown);
    ui->cmb_PROddLot->addItem(QStringLiteral("向上取整到整手"), OddLotType::RoundUp);
    ui->cmb_PROddLot->addItem(QStringLiteral("保留零股"), OddLotType::KeepOddLot);
    ui->cmb_PROddLot->setToolTip(QStringLiteral("买卖数量不是整手时的处理：科创板200股起、北交所100股起可按1股递增；"
                                                "保留零股适合卖出全部持仓"));

    ui->cmb_PosType->addItem(QStringLiteral("提取可用持仓"), AccountRows::AvailableQty);
    ui->cmb_PosType->addItem(QStringLiteral("提取当前持仓"), AccountRows::CurrentQty);
    ui->spinBox_PosRatio->setToolTip(QStringLiteral("按持仓的百分比提取，不足一手的部分舍去；100%时提取全部持仓（含零股）"));

    const QList<AccountDetails> all = VeltraBusinessDataInterface::GetFundAccountListByFundProp({});
    const QList<AccountDetails> credit = VeltraBusinessDataInterface::GetFundAccountListByFundProp({FundProperty::credit});
    ui->cmb_PRAccount->SetAccountList(all);
    ui->cmb_PosAccount->SetAccountList(all);
    ui->cmb_ShortSaleAccount->SetAccountList(credit);
    ui->cmb_VoucherAccount->SetAccountList(credit);

    ui->tableView_Pos->setTzTableItemDelegate(m_basketDelegate);
    ui->tableView_Pos->setEditTriggers(QAbstractItemView::EditKeyPressed);
    ui->tableView_ShortSale->setTzTableItemDelegate(m_basketDelegate);
    ui->tableView_ShortSale->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
}

void BDPortfolioAdd::connectAccountPages()
{
    connect(ui->pushButton_PRImport, &QPushButton::clicked, this, &BDPortfolioAdd::slotPRImportBtnClicked);
    connect(ui->pushButton_PRExportTemplate, &QPushButton::clicked, this,
            &BDPortfolioAdd::slotPRExportTemplateBtnClicked);
    connect(ui->cmb_PRFileType, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &BDPortfolioAdd::slotPRFileTypeCmdChanged);
    connect(ui->cmb_PROddLot, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &BDPortfolioAdd::slotPROddLotChanged);
    connect(ui->spinBox_PosRatio, &QDoubleSpinBox::editingFinished, this, &BDPortfolioAdd::slotPositionRatioChanged);
    connect(ui->pushButton_PosRefresh, &QPushButton::clicked, this, &BDPortfolioAdd::slotBtnRefreshPosTableClicked);
    connect(ui->cmb_PosTarType, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &BDPortfolioAdd::slotCmbPosTarTypeChanged);
    connect(ui->cmb_PosType, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &BDPortfolioAdd::slotCmbPosTypeChanged);
    connect(ui->cmb_PosAccount, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &BDPortfolioAdd::slotComboxFundAccountChanged);
    connect(ui->pushButton_ShortSaleSearch, &QPushButton::clicked, this, &BDPortfolioAdd::slotShortSaleSearchBtnClicked);
    connect(ui->pushButton_VoucherSearch, &QPushButton::clicked, this, &BDPortfolioAdd::SlotVoucherSearchBtnClicked);
    connect(ui->cmb_ShortSaleAccount, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &BDPortfolioAdd::slotMarFundAccountChanged);
    connect(ui->tableView_ShortSale, &QAbstractItemView::clicked, this, &BDPortfolioAdd::slotShortSaleTableClicked);
    connect(ui->tableView_Voucher, &QAbstractItemView::clicked, this, &BDPortfolioAdd::slotVoucherTableClicked);
    connect(ui->tableView_Pos->recordModel(), &QAbstractItemModel::modelAboutToBeReset, this,
            &BDPortfolioAdd::slotClosePositionPersistentEditor);
    slotPRFileTypeCmdChanged(ui->cmb_PRFileType->currentIndex());
}

QString BDPortfolioAdd::voucherAccount() const
{
    return ui->cmb_VoucherAccount->currentTradingAccount();
}

// ---- Rebalance: target file ------------------------------------------------------------

void BDPortfolioAdd::slotPRFileTypeCmdChanged(int)
{
    const bool weights = ui->cmb_PRFileType->currentData().toInt() == 1;
    ui->pushButton_PRImport->setText(weights ? QStringLiteral("导入权重") : QStringLiteral("导入数量"));
    ui->label_PRAmount->setEnabled(weights);
    ui->lineEdit_PRAmount->setEnabled(weights);
    ui->cmb_PRPriceType->setEnabled(weights);
}

void BDPortfolioAdd::slotPROddLotChanged(int)
{
    m_prOddLotType = ui->cmb_PROddLot->currentData().toInt();
}

void BDPortfolioAdd::slotPRExportTemplateBtnClicked()
{
    const bool weights = ui->cmb_PRFileType->currentData().toInt() == 1;
    QString error;
    QString saved;
    if (VeltraUtils::DownloadTemplateFile(VeltraConstants::TemplateFileType::PortfolioPosAdjust, this, QString(),
                                          &error, &saved, weights ? QStringLiteral("权重") : QStringLiteral("数量"))) {
        VeltraWidget::ShowTipMsgBox(QStringLiteral("模板已保存：%1").arg(saved), this);
    } else if (!error.isEmpty()) {
        VeltraWidget::ShowErrorMsgBox(error, this);
    }
}

int BDPortfolioAdd::readAndTransPRTargetPosFromFile(QMap<QString, qint64> &targets, const TargetPosType &type)
{
    const bool weights = ui->cmb_PRFileType->currentData().toInt() == 1;
    double amount = 0.0;
    if (weights) {
        amount = ui->lineEdit_PRAmount->text().toDouble();
        qInfo() << "生成调仓组合权重模式的目标金额：" << amount;
        if (!(amount > 1e-10)) {
            VeltraWidget::ShowWarningMsgBox(QStringLiteral("使用权重方式需填写目标金额！"), this);
            return -1;
        }
    }
    const QString path = VeltraUtils::GetOpenTableFileName(this, QStringLiteral("导入目标持仓"), QString(), 0);
    if (path.isEmpty())
        return -1;

    TableFileReader reader(path);
    if (!reader.open()) {
        VeltraWidget::ShowWarningMsgBox(reader.errorString(), this);
        return -1;
    }
    QList<TableRow> rows;
    TableRow row;
    while (reader.readRow(row)) {
        if (!row.cells.join(QString()).trimmed().isEmpty())
            rows.append(row);
    }
    if (!reader.errorString().isEmpty()) {
        VeltraWidget::ShowWarningMsgBox(reader.errorString(), this);
        return -1;
    }
    if (rows.isEmpty()) {
        VeltraWidget::ShowWarningMsgBox(QStringLiteral("文件中没有数据：%1").arg(path), this);
        return -1;
    }

    // Header: the columns by name, in any order.
    const QStringList header = rows.first().cells;
    const QStringList required{QStringLiteral("证券代码"), QStringLiteral("市场"),
                               weights ? QStringLiteral("相对权重") : QStringLiteral("委托数量")};
    QVector<int> column;
    int largest = 0;
    for (const QString &name : required) {
        const int index = header.indexOf(name);
        if (index < 0) {
            VeltraWidget::ShowWarningMsgBox(QStringLiteral("表头缺少列：") + name, this);
            return -1;
        }
        column.append(index);
        largest = qMax(largest, index);
    }

    const AccountDetails account = ui->cmb_PRAccount->currentAccount();
    const ImportSecurityResolver resolver;
    const PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QMap<QString, qint64> quantities;
    QMap<QString, double> amounts;
    QMap<QString, QStringList> symbolKeys;
    QStringList symbols;
    QHash<QString, int> lineOfKey;
    double weightSum = 0.0;
    for (int r = 1; r < rows.size(); ++r) {
        const TableRow &cells = rows.at(r);
        const int line = r;
        if (cells.cells.size() <= largest) {
            VeltraWidget::ShowWarningMsgBox(rowMessage(QStringLiteral("第%1行内容列数不足"), line), this);
            return -1;
        }
        // Codes as other tools write them: ="600519", 600519.SH, or 1 for 000001 when a
        // spreadsheet kept the code as a number; the market cell says which it is.
        QString code = ImportValue::withoutFormulaQuotes(cells.cells.at(column[0]).trimmed());
        QString market = cells.cells.at(column[1]).trimmed();
        QString resolvedMarket;
        QString reason;
        if (const SecurityInfo *s = resolver.resolve(code, market, QString(), resolvedMarket, reason)) {
            code = s->code;
            market = resolvedMarket;
        }
        const QString symbol = VeltraBusinessDataInterface::GetSymbolBySecurityIDAndExchange(code, market);
        if (symbol.isEmpty()) {
            VeltraWidget::ShowWarningMsgBox(rowMessage(QStringLiteral("第%1行证券代码获取失败"), line), this);
            return -1;
        }
        if (!account.supportsMarket(market)) {
            VeltraWidget::ShowWarningMsgBox(rowMessage(QStringLiteral("第%1行市场错误，账号%2不支持%3调仓"), line,
                                                       {account.fundAccount, marketName(market)}),
                                            this);
            return -1;
        }
        const QStringList markets = CBusinessDataBase::GetInstance()->GetSecurityExchangeBySymbol(symbol, false);
        if (market != Exchange::hhk && market != Exchange::szhk && !markets.isEmpty()) {
            market = markets.first();
        } else if (markets.size() == 1 && markets.first() != market) {
            const QString text = rowMessage(QStringLiteral("第%1行证券代码与市场不匹配，代码：%2，市场：%3！"), line,
                                            {cells.cells.at(column[0]), cells.cells.at(column[1])});
            qDebug().noquote() << text;
            VeltraWidget::ShowWarningMsgBox(text, this);
            return -1;
        }
        const bool hongKong = AccountRows::isHongKongConnect(market);
        const bool marketFits = type == TargetBoth || (type == TargetHongKongConnect) == hongKong;
        if (!marketFits || !store->IsSupportSecurity(symbol) || store->checkPortfolioSecurity(symbol)) {
            VeltraWidget::ShowWarningMsgBox(rowMessage(QStringLiteral("第%1行证券代码类型暂不支持(%2)"), line, {symbol}),
                                            this);
            return -1;
        }
        double value = 0.0;
        const QString targetText = ImportValue::withoutFormulaQuotes(cells.cells.at(column[2]));
        const QString valueProblem = ImportValue::readNumber(
            targetText, {reader.decimalComma(), weights, true}, value);
        if (!valueProblem.isEmpty() || targetText.trimmed().isEmpty() || (weights && value < 0.0)) {
            VeltraWidget::ShowWarningMsgBox(rowMessage(QStringLiteral("第%1行目标量获取失败"), line), this);
            return -1;
        }
        const QString key = AccountRows::targetKey(symbol, market);
        if (lineOfKey.contains(key)) {
            VeltraWidget::ShowWarningMsgBox(rowMessage(QStringLiteral("第%1行与第%2行重复：%3"), line,
                                                       {QString::number(lineOfKey.value(key)), key}),
                                            this);
            return -1;
        }
        lineOfKey.insert(key, line);
        if (weights) {
            amounts.insert(key, value * amount);
            if (!symbolKeys.contains(symbol))
                symbols.append(symbol);
            symbolKeys[symbol].append(key);
            weightSum += value;
        } else {
            quantities.insert(key, AccountRows::targetQuantity(value));
        }
    }

    m_prUnpricedKeys.clear();
    if (!weights) {
        targets = quantities;
        return 0;
    }
    if (!(weightSum > 1e-10)) {
        VeltraWidget::ShowWarningMsgBox(QStringLiteral("目标权重合计为0，无法换算目标数量"), this);
        return -1;
    }
    for (double &value : amounts)
        value /= weightSum;

    const int basis = ui->cmb_PRPriceType->currentData().toInt();
    if (basis == PricePreClose) {
        for (auto it = amounts.cbegin(); it != amounts.cend(); ++it) {
            const QString symbol = it.key().left(it.key().lastIndexOf(QLatin1Char('_')));
            const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
            const double price = s ? s->preClosePx : 0.0;
            if (price > 1e-10)
                targets.insert(it.key(), qint64(it.value() / price));
            else
                m_prUnpricedKeys.append(it.key());
        }
        return 0;
    }

    // Latest, bid 1 or ask 1: the prices come with the quotes of the symbols.
    {
        QMutexLocker lock(&m_mutex);
        m_prTargetAmounts = amounts;
        m_prSymbolKeys = symbolKeys;
        m_prWaitingSymbols = symbols;
        m_prPriceBasis = basis;
    }
    QEventLoop loop;
    connect(this, &BDPortfolioAdd::signalPRWeightCalcFinished, &loop, &QEventLoop::quit);
    // Precise: a coarse timer may end the wait up to 5 % early.
    QTimer::singleShot(kQuoteWaitMs, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    BusinessDataInterface::SubscribeSecurityQuotation(m_presenter, symbols, 1, 2);
    bool waiting = false;
    {
        QMutexLocker lock(&m_mutex);
        waiting = !m_prWaitingSymbols.isEmpty();
    }
    if (waiting) {
        // Up to five seconds without input: say what the dialog waits for.
        ui->label_PRNote->setText(QStringLiteral("正在获取%1只证券的行情价格…").arg(symbols.size()));
        QApplication::setOverrideCursor(Qt::WaitCursor);
        loop.exec(QEventLoop::ExcludeUserInputEvents);
        QApplication::restoreOverrideCursor();
        ui->label_PRNote->clear();
    }
    BusinessDataInterface::UnSubscribeSecurityQuotation(m_presenter, symbols, 1, 2);

    QMutexLocker lock(&m_mutex);
    // A symbol whose quote never came keeps its amount undivided: no quantity can be
    // computed from it, so its keys stay out of the rebalance altogether.
    for (const QString &symbol : qAsConst(m_prWaitingSymbols))
        m_prUnpricedKeys.append(m_prSymbolKeys.value(symbol));
    for (auto it = m_prTargetAmounts.cbegin(); it != m_prTargetAmounts.cend(); ++it) {
        if (!m_prUnpricedKeys.contains(it.key()))
            targets.insert(it.key(), qint64(it.value()));
    }
    m_prWaitingSymbols.clear();
    m_prTargetAmounts.clear();
    m_prSymbolKeys.clear();
    return 0;
}

void BDPortfolioAdd::slotQuotationUpdated(TzPortfolioQuote quote)
{
    QMutexLocker lock(&m_mutex);
    if (!m_prWaitingSymbols.contains(quote.Symbol)) {
        if (m_prWaitingSymbols.isEmpty() && !m_prTargetAmounts.isEmpty())
            emit signalPRWeightCalcFinished();
        return;
    }
    m_prWaitingSymbols.removeAll(quote.Symbol);
    double price = quote.LastPx;
    if (m_prPriceBasis == PriceBid1 && quote.BidPx1 > 1e-10)
        price = quote.BidPx1;
    else if (m_prPriceBasis == PriceAsk1 && quote.AskPx1 > 1e-10)
        price = quote.AskPx1;
    for (const QString &key : m_prSymbolKeys.value(quote.Symbol)) {
        if (price > 1e-10)
            m_prTargetAmounts[key] /= price;
        else
            m_prUnpricedKeys.append(key);  // no trade yet, or suspended without a price
    }
    if (m_prWaitingSymbols.isEmpty())
        emit signalPRWeightCalcFinished();
}

// ---- Rebalance: calculation ------------------------------------------------------------

QList<QMap<int, QMap<QString, QVariant> > > BDPortfolioAdd::calcPortDetailByTargetPos(
    const QString &tradingAccount, const QMap<QString, qint64> &targets, const TargetPosType &type)
{
    m_prCalcError.clear();
    QList<QVariantMap> positions;
    const QString source = m_presenter ? m_presenter->pluginPid() : QStringLiteral("BDPortfolioAdd");
    const QString rc = AccountRows::positionsInRange(tradingAccount, type, positions, source);
    if (rc != QLatin1String("0")) {
        // Without the holdings every target would be bought in full: nothing is built.
        m_prCalcError = rc;
        return {};
    }
    QMap<QString, qint64> current = AccountRows::currentHoldings(positions);
    qInfo() << "当前待处理持仓数量：" << current.size();
    QMap<QString, qint64> wanted = targets;
    for (const QString &key : qAsConst(m_prUnpricedKeys)) {
        current.remove(key);
        wanted.remove(key);
    }
    // Holdings a page may not trade (restricted, B shares) are never sold by a rebalance.
    for (auto it = current.begin(); it != current.end();) {
        const QString symbol = it.key().left(it.key().lastIndexOf(QLatin1Char('_')));
        if (AccountRows::positionRefusal({{Security::symbol, symbol}}).isEmpty())
            ++it;
        else
            it = current.erase(it);
    }
    QStringList dropped;
    QList<RowRecord> rows = AccountRows::rebalanceRows(current, wanted, m_prOddLotType, m_showType, &dropped);
    QStringList notes;
    if (!m_prUnpricedKeys.isEmpty())
        notes << QStringLiteral("未取得有效价格，未生成调仓：%1").arg(keysNote(m_prUnpricedKeys));
    if (!dropped.isEmpty())
        notes << QStringLiteral("调仓差额不足一手，未生成：%1").arg(keysNote(dropped));
    ui->label_PRNote->setText(notes.join(QLatin1Char('\n')));
    return rows;
}

void BDPortfolioAdd::slotPRImportBtnClicked()
{
    QMap<QString, qint64> targets;
    const TargetPosType type = TargetPosType(ui->cmb_PosTarType->currentData().toInt());
    if (readAndTransPRTargetPosFromFile(targets, type) != 0) {
        qInfo() << "生成调仓组合失败！";
        return;
    }
    const QList<RowRecord> rows = calcPortDetailByTargetPos(ui->cmb_PRAccount->currentTradingAccount(), targets, type);
    if (!m_prCalcError.isEmpty()) {
        qInfo() << "生成调仓组合失败！" << m_prCalcError;
        VeltraWidget::ShowWarningMsgBox(m_prCalcError, this);
        return;
    }
    // The whole map is written only when someone reads info lines: it may hold thousands.
    if (QLoggingCategory::defaultCategory()->isInfoEnabled())
        qInfo() << "生成调仓组合目标：" << targets;
    qInfo() << "生成调仓组合的成分券数量：" << rows.size();
    ui->tableView_PR->updateRecordDataList(rows);
    ui->tableView_PR->setAllCheckBoxChecked(true);
    ui->tableView_PR->setEnabled(true);
    ui->label_PRImportTime->setText(QStringLiteral("最新导入时间：") + QTime::currentTime().toString(QStringLiteral("hh:mm:ss")));
    updateSelectionLabel();
}

// ---- Positions -------------------------------------------------------------------------

void BDPortfolioAdd::slotBtnRefreshPosTableClicked()
{
    const QString tradingAccount = ui->cmb_PosAccount->currentTradingAccount();
    if (tradingAccount.isEmpty()) {
        ui->label_PosNote->setText(QStringLiteral("没有可用的资产账号"));
        return;
    }
    m_positionQueryPending = true;
    emit signalQueryPositionInfo(tradingAccount, ui->cmb_PosTarType->currentData().toInt(),
                                 ui->cmb_PosType->currentData().toInt());
}

void BDPortfolioAdd::slotPositionListUpdate(QList<QMap<int, QVariantMap> > recordList)
{
    if (!m_positionQueryPending)
        return;  // not asked for by this dialog
    m_positionQueryPending = false;
    m_positionRecords = recordList;
    ui->label_PosRefreshTime->setText(QStringLiteral("刷新时间：") + QTime::currentTime().toString(QStringLiteral("hh:mm:ss")));
    showPositionRows();
}

void BDPortfolioAdd::showPositionRows()
{
    const double ratio = ui->spinBox_PosRatio->value();
    QList<RowRecord> rows;
    rows.reserve(m_positionRecords.size());
    QStringList belowLot;
    for (RowRecord row : qAsConst(m_positionRecords)) {
        const QString symbol = symbolOf(row);
        const qint64 quantity = AccountRows::quantityByRatio(symbol, row.value(Code).value(Security::nominalQty).toLongLong(),
                                                             ratio);
        if (quantity <= 0) {
            belowLot << AccountRows::targetKey(symbol, marketOf(row));
            continue;
        }
        setQuantity(row, quantity, m_showType);
        rows.append(row);
    }
    AccountRows::weighRows(rows);
    ui->tableView_Pos->updateRecordDataList(rows);
    ui->tableView_Pos->setAllCheckBoxChecked(true);
    if (m_positionRecords.isEmpty())
        ui->label_PosNote->setText(QStringLiteral("该账号在所选市场没有可提取的持仓"));
    else if (!belowLot.isEmpty())
        ui->label_PosNote->setText(QStringLiteral("按比例不足一手，未列出：%1").arg(keysNote(belowLot)));
    else
        ui->label_PosNote->clear();
    updateSelectionLabel();
}

void BDPortfolioAdd::slotPositionRatioChanged()
{
    showPositionRows();
}

void BDPortfolioAdd::slotCmbPosTarTypeChanged(int)
{
    if (ui->tabWidget->currentIndex() == PagePosition)
        slotBtnRefreshPosTableClicked();
}

void BDPortfolioAdd::slotCmbPosTypeChanged(int)
{
    if (ui->tabWidget->currentIndex() == PagePosition)
        slotBtnRefreshPosTableClicked();
}

void BDPortfolioAdd::slotComboxFundAccountChanged(int)
{
    if (ui->tabWidget->currentIndex() == PagePosition)
        slotBtnRefreshPosTableClicked();
}

void BDPortfolioAdd::slotPositionClicked(const QModelIndex &index)
{
    if (!index.isValid() || index.column() != Quantity) {
        qDebug() << "index is invalid, or index can not edit";
        return;
    }
    slotClosePositionPersistentEditor();
    m_positionClickedIndex = index;
    m_positionEditorIndex = index;
    ui->tableView_Pos->openPersistentEditor(index);
}

void BDPortfolioAdd::slotClosePositionPersistentEditor()
{
    if (m_positionEditorIndex.isValid())
        ui->tableView_Pos->closePersistentEditor(m_positionEditorIndex);
    m_positionEditorIndex = QPersistentModelIndex();
}

// ---- Short sale and return -------------------------------------------------------------

void BDPortfolioAdd::slotShortSaleSearchBtnClicked()
{
    const QString account = ui->cmb_ShortSaleAccount->currentTradingAccount();
    if (account.isEmpty()) {
        VeltraWidget::ShowWarningMsgBox(QStringLiteral("没有信用资产账号，不能融券"), this);
        return;
    }
    ui->label_ShortSaleNote->setText(QStringLiteral("查询中…"));
    emit signalQueryMarginInfo(account);
}

void BDPortfolioAdd::slotSecurityLoanUpdated(QList<QMap<int, QVariantMap> > recordList)
{
    ui->tableView_ShortSale->updateRecordDataList(recordList);
    ui->tableView_ShortSale->setAllCheckBoxChecked(true);
    ui->label_ShortSaleNote->setText(recordList.isEmpty() ? QStringLiteral("没有可融券的证券")
                                                          : QStringLiteral("可融券证券%1只，融券数量可双击修改")
                                                                .arg(recordList.size()));
    updateSelectionLabel();
}

void BDPortfolioAdd::slotMarFundAccountChanged(int)
{
    ui->tableView_ShortSale->clear();
    ui->label_ShortSaleNote->clear();
    updateSelectionLabel();
}

void BDPortfolioAdd::slotShortSaleTableClicked(const QModelIndex &index)
{
    m_shortSaleClickedIndex = index;
}

void BDPortfolioAdd::SlotVoucherSearchBtnClicked()
{
    emit signalQueryCouponInfo(ui->dateEdit_Voucher->date().toString(QStringLiteral("yyyyMMdd")));
}

void BDPortfolioAdd::slotCouponInfoInfoUpdated(QList<QVariantMap> contractList)
{
    QList<RowRecord> rows;
    rows.reserve(contractList.size());
    for (const QVariantMap &contract : contractList)
        rows.append(AccountRows::voucherRow(contract, m_showType));
    ui->tableView_Voucher->updateRecordDataList(rows);
}

void BDPortfolioAdd::slotVoucherTableClicked(const QModelIndex &index)
{
    m_voucherClickedIndex = index;
}

QString BDPortfolioAdd::buildShortSale(PortfolioDetailBasicInfo &detail)
{
    TzTableView *table = ui->tableView_ShortSale;
    const QList<int> checked = table->getCheckedRows();
    if (checked.isEmpty())
        return QStringLiteral("组合创建失败：未选择数据或数据为空。");
    QList<PortfolioItem> items;
    for (int r : checked) {
        const RowRecord row = table->getRowData(r);
        if (row.isEmpty()) {
            qDebug() << "recordMap is empty, continue";
            continue;
        }
        if (AccountRows::shortSaleQuantity(row) > AccountRows::shortSaleLendable(row))
            return QStringLiteral("创建组合失败：融券数量超过可融券数量。");
        if (AccountRows::shortSaleQuantity(row) <= 0)
            continue;
        items.append(AccountRows::shortSaleItemOf(row));
    }
    if (items.isEmpty())
        return QStringLiteral("创建组合失败：获取表格中的数据失败。");
    detail.setSymbolList(items);
    return QString();
}
