#include "tablefilereader.h"

#include "csvtablesource.h"
#include "readahead.h"
#include "xlsxtablesource.h"

#include <QFile>
#include <QFileInfo>

namespace {

QString sizeInMiB(qint64 bytes)
{
    return QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 1);
}

QByteArray utf16Name(const char *name)
{
    QByteArray bytes;
    for (const char *c = name; *c; ++c)
        bytes.append(*c).append('\0');
    return bytes;
}

// Reads the rows of a source on a thread of its own, a batch at a time, while the caller
// checks the lines before them. The thread starts once the caller has named its columns:
// until then (the header row and what precedes it) rows are read on the caller's
// thread, so that no row is decoded whole only because it came early.
class ReadAheadSource : public TableFileReader::Source
{
public:
    explicit ReadAheadSource(std::unique_ptr<TableFileReader::Source> source)
        : m_source(std::move(source)), m_description(m_source->description()),
          m_decimalComma(m_source->decimalComma())
    {
    }

    bool open(QFile &, QString &) override { return true; }
    bool readRow(TableRow &row, QString &error) override
    {
        if (!m_batches)
            return m_source->readRow(row, error);
        if (m_next == m_batch.size()) {
            if (!m_batches->take(m_batch)) {
                error = m_error;
                return false;
            }
            m_next = 0;
        }
        // Swapped, so that the row's lists are used again for a later row.
        std::swap(row, m_batch[m_next++]);
        return true;
    }
    QString description() const override { return m_description; }
    bool decimalComma() const override { return m_decimalComma; }
    void setColumns(const QVector<int> &columns) override
    {
        if (m_batches)
            return;
        m_source->setColumns(columns);
        m_batches = std::make_unique<ReadAhead<QVector<TableRow>>>(
            [this](QVector<TableRow> &batch) { return produce(batch); }, weigh, 4, 16 << 20);
    }

private:
    static constexpr int BatchRows = 64;

    bool produce(QVector<TableRow> &batch)
    {
        int rows = 0;
        while (!m_ended && rows < BatchRows) {
            if (rows == batch.size())
                batch.append(TableRow());
            if (m_source->readRow(batch[rows], m_error))
                ++rows;
            else
                m_ended = true;
        }
        batch.resize(rows);
        return rows > 0;
    }

    // What a waiting batch holds, for the bound on all of them.
    static size_t weigh(const QVector<TableRow> &batch)
    {
        size_t bytes = 0;
        for (const TableRow &row : batch) {
            bytes += 64;
            for (const QString &cell : row.cells)
                bytes += 16 + 2 * size_t(cell.size());
        }
        return bytes;
    }

    std::unique_ptr<TableFileReader::Source> m_source;
    const QString m_description;
    const bool m_decimalComma;
    // Written by the reading thread, read by the caller after take() said it ended.
    QString m_error;
    bool m_ended = false;
    QVector<TableRow> m_batch;  // the caller's
    int m_next = 0;
    // Last: its thread uses the members above.
    std::unique_ptr<ReadAhead<QVector<TableRow>>> m_batches;
};

} // namespace

QString tableCellName(int column, int row)
{
    QString letters;
    for (int c = column + 1; c > 0; c = (c - 1) / 26)
        letters.prepend(QChar('A' + (c - 1) % 26));
    return letters + QString::number(row);
}

// An OLE compound file holds an old .xls workbook, or, since Excel 2007, a workbook
// with an opening password: its encrypted package sits in a stream named
// "EncryptedPackage". Stream names are kept in UTF-16 in directory sectors anywhere in
// the file, so the whole file (bounded by MaxFileBytes) is searched for them.
QString compoundFileKind(QFile &file)
{
    const QByteArray magic = QByteArray::fromHex("D0CF11E0A1B11AE1");
    if (file.peek(8) != magic)
        return QString();
    const QByteArray data = file.readAll();
    if (data.contains(utf16Name("EncryptedPackage")))
        return QStringLiteral("这个工作簿设有打开密码（已加密），请在Excel中取消密码并保存后再导入");
    if (data.contains(utf16Name("Workbook")) || data.contains(utf16Name("Book")))
        return QStringLiteral("这是旧版Excel格式（.xls）的工作簿，请在Excel中另存为.xlsx后再导入");
    return QStringLiteral("这是旧版Office文档（如.doc），不是Excel工作簿");
}

TableFileReader::TableFileReader(const QString &path)
    : m_path(path)
{
}

TableFileReader::~TableFileReader() = default;

bool TableFileReader::isSupported(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("xlsx") || suffix == QLatin1String("xlsm")
           || suffix == QLatin1String("csv");
}

bool TableFileReader::open()
{
    m_error.clear();
    m_source.reset();
    const QFileInfo info(m_path);
    if (m_path.isEmpty() || !info.exists()) {
        m_error = QStringLiteral("文件不存在（%1）").arg(m_path);
        return false;
    }
    if (!info.isFile()) {
        m_error = QStringLiteral("这不是文件（%1）").arg(m_path);
        return false;
    }
    const QString suffix = info.suffix().toLower();
    if (!isSupported(m_path) && suffix != QLatin1String("xls")) {
        m_error = QStringLiteral("不支持的文件类型“%1”，只能导入.xlsx、.xlsm或.csv文件")
                      .arg(suffix.isEmpty() ? info.fileName() : QLatin1Char('.') + suffix);
        return false;
    }
    if (info.size() > MaxFileBytes) {
        m_error = QStringLiteral("文件过大（%1 MiB），导入文件不能超过%2 MiB")
                      .arg(sizeInMiB(info.size()), QString::number(MaxFileBytes >> 20));
        return false;
    }

    auto file = std::make_unique<QFile>(m_path);
    if (!file->open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("文件无法打开，可能正被其他程序使用或没有读取权限（%1）")
                      .arg(file->errorString());
        return false;
    }
    // What the bytes are decides, not the name: a zip archive is read as a workbook,
    // anything else that is no compound file as text.
    const QByteArray head = file->peek(4);
    const QString compound = compoundFileKind(*file);
    if (!compound.isEmpty()) {
        m_error = compound;
        return false;
    }
    if (head.startsWith("PK\x03\x04") || head.startsWith("PK\x05\x06"))
        m_source = std::make_unique<XlsxTableSource>();
    else
        m_source = std::make_unique<CsvTableSource>();
    m_file = std::move(file);
    if (!m_source->open(*m_file, m_error)) {
        if (m_error.isEmpty())
            m_error = QStringLiteral("文件无法读取");
        m_source.reset();
        return false;
    }
    m_description = m_source->description();
    m_decimalComma = m_source->decimalComma();
    m_source = std::make_unique<ReadAheadSource>(std::move(m_source));
    return true;
}

void TableFileReader::setColumns(const QVector<int> &columns)
{
    if (m_source)
        m_source->setColumns(columns);
}

bool TableFileReader::readRow(TableRow &row)
{
    if (!m_source || !m_error.isEmpty())
        return false;
    if (m_source->readRow(row, m_error))
        return true;
    m_source.reset();
    return false;
}
