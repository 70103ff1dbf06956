#include "importlinereader.h"

#include "exchange.h"
#include "fieldkeys.h"
#include "importvalue.h"
#include "portfoliorecordaccess.h"
#include "tablefilereader_p.h"

#include <QSet>
#include <algorithm>

using ImportValue::quoted;

namespace {

const QStringList &columnNames()
{
    static const QStringList names = {
        QStringLiteral("证券代码"), QStringLiteral("市场"),     QStringLiteral("证券名称"),
        QStringLiteral("委托方向"), QStringLiteral("委托数量"), QStringLiteral("相对权重"),
        QStringLiteral("委托类型"), QStringLiteral("委托属性"), QStringLiteral("委托价格"),
        QStringLiteral("算法限价"), QStringLiteral("资金账号"), QStringLiteral("算法名称"),
        QStringLiteral("开始时间"), QStringLiteral("结束时间"), QStringLiteral("参与率"),
    };
    return names;
}

const QStringList &algoParamKeys()
{
    static const QStringList keys = {ImportField::FundAccount, ImportField::AlgoName,
                                     ImportField::StartTime, ImportField::EndTime,
                                     ImportField::ParticipationRate};
    return keys;
}

const QSet<QString> &knownSides()
{
    static const QSet<QString> sides = {
        OrderSide::unspecified,          OrderSide::buy,
        OrderSide::sell,                 QStringLiteral("担保品买入"),
        QStringLiteral("担保品卖出"),    QStringLiteral("融资买入"),
        QStringLiteral("卖券还款"),      QStringLiteral("融券卖出"),
        QStringLiteral("买券还券"),      QStringLiteral("直接还券"),
    };
    return sides;
}

QString columnLetters(int column)
{
    const QString cell = tableCellName(column, 1);
    return cell.left(cell.size() - 1);
}

// A value that cannot be used: "委托数量“1.5”无效，应为不小于0的整数".
QString invalid(int column, const QString &text, const QString &problem)
{
    return columnNames().at(column) + quoted(text) + QStringLiteral("无效，") + problem;
}

// Lines are told apart by security and market in one integer (see m_seen).
static_assert(alignof(SecurityInfo) >= 8, "market index needs three free pointer bits");

} // namespace

ImportLineReader::ImportLineReader(bool decimalComma)
    : m_decimalComma(decimalComma)
{
    std::fill(std::begin(m_index), std::end(m_index), -1);
    std::fill(std::begin(m_faulty), std::end(m_faulty), false);
}

bool ImportLineReader::readHeader(const TableRow &header, const QString &format,
                                  QString &error)
{
    const QStringList &names = columnNames();
    QStringList seen;
    for (int i = 0; i < header.cells.size(); ++i) {
        const QString name = ImportValue::withoutFormulaQuotes(header.cells.at(i));
        if (!name.isEmpty() && seen.size() < 6)
            seen << quoted(name);
        const int id = names.indexOf(name);
        if (id < 0)
            continue;
        if (m_index[id] >= 0) {
            error = QStringLiteral("第%1行有两个“%2”列（%3列和%4列），无法确定用哪一个")
                        .arg(QString::number(header.number), names.at(id),
                             columnLetters(m_index[id]), columnLetters(i));
            return false;
        }
        m_index[id] = i;
    }
    QString missing;
    if (m_index[CodeColumn] < 0)
        missing = QStringLiteral("没有“证券代码”列");
    else if (m_index[QuantityColumn] < 0 && m_index[WeightColumn] < 0)
        missing = QStringLiteral("没有“委托数量”列或“相对权重”列，至少需要其中之一");
    if (missing.isEmpty())
        return true;
    error = QStringLiteral("第%1行应为列名，但%2（该行为%3；文件按%4读取）")
                .arg(QString::number(header.number), missing,
                     seen.join(QStringLiteral("、")) + (seen.size() == 6 ? QStringLiteral("等")
                                                                         : QString()),
                     format);
    return false;
}

QVector<int> ImportLineReader::usedColumns() const
{
    QVector<int> columns;
    for (int index : m_index) {
        if (index >= 0)
            columns.append(index);
    }
    return columns;
}

bool ImportLineReader::isAlgo() const
{
    for (int i = FirstAlgoColumn; i < ColumnCount; ++i) {
        if (m_index[i] >= 0)
            return true;
    }
    return false;
}

bool ImportLineReader::isBlank(const TableRow &row)
{
    if (row.otherText || !row.faults.isEmpty())
        return false;
    for (const QString &text : row.cells) {
        if (!text.isEmpty())
            return false;
    }
    return true;
}

QString ImportLineReader::cell(const TableRow &row, int column) const
{
    const int i = m_index[column];
    if (i < 0 || i >= row.cells.size() || m_faulty[column])
        return QString();
    const QString &text = row.cells.at(i);
    if (text.isEmpty() || text.at(0) != QLatin1Char('='))
        return text;
    return ImportValue::withoutFormulaQuotes(text);
}

// Cells the file cannot give a trustworthy value for, and cells far longer than any
// value of their column: the line is refused for them, and their columns are not looked
// at further. A long text that many lines share (one shared string of a workbook) thus
// costs each line nothing.
void ImportLineReader::readCellFaults(const TableRow &row, ImportReasons &reasons)
{
    std::fill(std::begin(m_faulty), std::end(m_faulty), false);
    for (int column = 0; column < ColumnCount; ++column) {
        const int i = m_index[column];
        if (i < 0 || i >= row.cells.size() || row.cells.at(i).size() <= MaxValueLength)
            continue;
        m_faulty[column] = true;
        reasons.add([&] {
            return QStringLiteral("单元格") + tableCellName(i, row.number) + QStringLiteral("（")
                   + columnNames().at(column) + QStringLiteral("）的内容过长（")
                   + QString::number(row.cells.at(i).size()) + QStringLiteral("个字符）");
        });
    }
    for (const TableCellFault &fault : row.faults) {
        const int *at = std::find(std::begin(m_index), std::end(m_index), fault.column);
        if (at == std::end(m_index))
            continue;
        const int column = int(at - std::begin(m_index));
        m_faulty[column] = true;
        reasons.add([&] {
            const QString where = QStringLiteral("单元格") + tableCellName(fault.column, row.number)
                                  + QStringLiteral("（") + columnNames().at(column)
                                  + QStringLiteral("）");
            switch (fault.kind) {
            case TableCellFault::FormulaWithoutResult:
                return where + QStringLiteral("是公式，文件中没有它的计算结果，"
                                              "请在Excel中打开并保存后再导入");
            case TableCellFault::SeveralValues:
                return where + QStringLiteral("有多个值，无法确定用哪一个");
            case TableCellFault::Undecodable:
                break;
            }
            return where + QStringLiteral("含有无法识别的字符（文件编码有误或已损坏）");
        });
    }
}

// Portfolio-level values: one per portfolio, so a line that says otherwise is wrong.
void ImportLineReader::readAlgoParameters(const TableRow &row,
                                          QString (&algo)[AlgoColumnCount],
                                          ImportReasons &reasons)
{
    for (int i = 0; i < AlgoColumnCount; ++i) {
        const int column = FirstAlgoColumn + i;
        if (m_faulty[column] || m_index[column] < 0)
            continue;
        const QString text = cell(row, column);
        QString problem;
        switch (column) {
        case FundAccountColumn:
            if (ImportValue::isScientificNotation(text))
                problem = QStringLiteral("已被Excel改写成科学计数法，原账号已丢失，"
                                         "请把该列设为文本格式后重新填写");
            else
                algo[i] = text;
            break;
        case StartTimeColumn:
        case EndTimeColumn:
            problem = ImportValue::readTime(text, algo[i]);
            break;
        case ParticipationRateColumn:
            problem = ImportValue::readParticipationRate(text, m_decimalComma, algo[i]);
            break;
        default:
            algo[i] = text;
            break;
        }
        if (!problem.isEmpty()) {
            reasons.add([&] { return invalid(column, text, problem); });
            algo[i].clear();
        } else if (!algo[i].isEmpty() && !m_algo[i].isEmpty() && algo[i] != m_algo[i]) {
            reasons.add([&] {
                return columnNames().at(column) + quoted(algo[i]) + QStringLiteral("与第")
                       + QString::number(m_algoRow[i]) + QStringLiteral("行的")
                       + quoted(m_algo[i])
                       + QStringLiteral("不一致（算法参数整个组合只有一个值）");
            });
        }
    }
    const int start = StartTimeColumn - FirstAlgoColumn;
    const int end = EndTimeColumn - FirstAlgoColumn;
    const QString &from = algo[start].isEmpty() ? m_algo[start] : algo[start];
    const QString &to = algo[end].isEmpty() ? m_algo[end] : algo[end];
    // Both "HH:mm:ss" or both "yyyy-MM-dd HH:mm:ss": their text order is their time order.
    if (!from.isEmpty() && from.size() == to.size() && to <= from
        && (!algo[start].isEmpty() || !algo[end].isEmpty())) {
        reasons.add([&] {
            return QStringLiteral("结束时间") + quoted(to) + QStringLiteral("不晚于开始时间")
                   + quoted(from);
        });
    }
}

bool ImportLineReader::readLine(const TableRow &row, PortfolioItem &item, ImportReasons &reasons)
{
    readCellFaults(row, reasons);
    const QString code = cell(row, CodeColumn);
    QString market;
    const SecurityInfo *security = nullptr;
    if (m_faulty[CodeColumn] || m_faulty[MarketColumn] || m_faulty[NameColumn]) {
        // Refused already: which security it is cannot be told.
    } else if (code.isEmpty()) {
        reasons.add([] { return QStringLiteral("证券代码为空"); });
    } else {
        QString reason;
        security = m_securities.resolve(code, cell(row, MarketColumn), cell(row, NameColumn),
                                        market, reason);
        if (!security)
            reasons.add([&] { return reason; });
    }

    QString side = cell(row, SideColumn);
    if (side.isEmpty())
        side = OrderSide::buy;
    else if (!m_faulty[SideColumn] && !knownSides().contains(side))
        reasons.add([&] { return QStringLiteral("委托方向") + quoted(side) + QStringLiteral("无效"); });

    const QString quantityText = cell(row, QuantityColumn);
    qint64 quantity = 0;
    const QString quantityProblem =
        ImportValue::readQuantity(quantityText, m_decimalComma, quantity);
    if (!quantityProblem.isEmpty())
        reasons.add([&] { return invalid(QuantityColumn, quantityText, quantityProblem); });
    const QString weightText = cell(row, WeightColumn);
    double weight = 0.0;
    const QString weightProblem =
        ImportValue::readNonNegative(weightText, m_decimalComma, true, weight);
    if (!weightProblem.isEmpty())
        reasons.add([&] { return invalid(WeightColumn, weightText, weightProblem); });
    if (quantityProblem.isEmpty() && weightProblem.isEmpty() && quantity <= 0 && weight <= 0.0
        && !m_faulty[QuantityColumn] && !m_faulty[WeightColumn])
        reasons.add([] { return QStringLiteral("委托数量和相对权重不能都为0"); });

    double prices[2] = {0.0, 0.0};
    for (int column : {int(PriceColumn), int(AlgoLimitColumn)}) {
        const QString text = cell(row, column);
        const QString problem = ImportValue::readNonNegative(
            text, m_decimalComma, false, prices[column == PriceColumn ? 0 : 1]);
        if (!problem.isEmpty())
            reasons.add([&] { return invalid(column, text, problem); });
    }

    quintptr duplicateKey = 0;
    if (security) {
        duplicateKey = quintptr(security) | quintptr(security->markets.indexOf(market) & 7);
        const auto earlier = m_seen.constFind(duplicateKey);
        if (earlier != m_seen.cend()) {
            reasons.add([&] {
                return QStringLiteral("与第%1行重复（%2 %3）")
                    .arg(QString::number(*earlier), security->symbol, market);
            });
        }
    }

    QString algo[AlgoColumnCount];
    readAlgoParameters(row, algo, reasons);
    if (!reasons.isEmpty())
        return false;

    for (int i = 0; i < AlgoColumnCount; ++i) {
        if (m_algo[i].isEmpty() && !algo[i].isEmpty()) {
            m_algo[i] = algo[i];
            m_algoRow[i] = row.number;
        }
    }
    m_seen.insert(duplicateKey, row.number);

    const QString entrustType = cell(row, EntrustTypeColumn);
    const QString entrustProp = cell(row, EntrustPropColumn);
    item.setSymbol(security->symbol);
    item.setSymbolName(security->name);
    item.setSymbolExchange(market);
    item.setQuantity(quantity);
    item.setRelWeight(weight);
    item.setSide(side);
    item.setPortEntrustType(entrustType.isEmpty() ? EntrustType::NewOrder : entrustType);
    item.setPortEntrustProp(entrustProp.isEmpty() ? EntrustProp::trading : entrustProp);
    PortfolioRecordAccess::setPrices(item, prices[0], prices[1]);
    return true;
}

QVariantMap ImportLineReader::algoParam() const
{
    QVariantMap param;
    for (int i = 0; i < AlgoColumnCount; ++i)
        param.insert(algoParamKeys().at(i), m_algo[i]);
    return param;
}
