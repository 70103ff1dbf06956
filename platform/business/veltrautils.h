#pragma once

#include "tzplatform_global.h"

#include "showtype.h"

#include <QPoint>
#include <QString>
#include <functional>

class QWidget;

namespace VeltraConstants {

// Blank import files the user can download, fill in and import again.
enum class TemplateFileType {
    PortfolioNormal,     // lines of an ordinary portfolio
    PortfolioAlgo,       // lines plus the algorithm that works the portfolio
    PortfolioPosAdjust,  // target holdings for a position adjustment
};

} // namespace VeltraConstants

// Business-message panel entries: how urgent, about what, and where it came from.
enum class BusiMsgLevel { Info, Warning, Error, Emergency };
enum class BusiMsgType { SystemMsg, PortfolioMsg, TradeMsg };
enum class BusiMsgItem { TagMenu, TagOrder, TagSystem };

// Small client-wide helpers that pages call directly. Each group keeps its own section
// below; state, where a group needs any, lives in the .cpp.
class TZPLATFORM_EXPORT VeltraUtils
{
public:
    // ---- Import templates ------------------------------------------------------------

    // Asks where to save (unless filePath is given; the dialog starts in the folder of
    // the last table file) and writes the template there. False when the user cancels
    // (error stays empty) or the file cannot be written (error says why). savedPath
    // receives the file written.
    // The save dialog offers .xlsx and .csv; the suffix chosen decides the format.
    // variant names a form of the template (the rebalance template's "权重" or "数量").
    static bool DownloadTemplateFile(VeltraConstants::TemplateFileType type, QWidget *parent,
                                     const QString &filePath = QString(),
                                     QString *error = nullptr, QString *savedPath = nullptr,
                                     const QString &variant = QString());

    // Replaces the save dialog, e.g. in tests; an empty function restores the dialog.
    // The hook returns the chosen path, or an empty text when the user cancels.
    using SaveFileNameHook = std::function<QString(QWidget *parent, const QString &caption,
                                                   const QString &suggestedName)>;
    static void setSaveFileNameHook(SaveFileNameHook hook);
    // Asks where to save a table file (.xlsx or .csv) through the hook above or the save
    // dialog, which starts in the folder of the last table file with suggestedName. A
    // name with neither suffix gets .xlsx; the folder is remembered. Empty when the user
    // cancels.
    static QString GetSaveTableFileName(QWidget *parent, const QString &caption,
                                        const QString &suggestedName);

    // ---- Quantity display --------------------------------------------------------------

    // Formats a numeric text for a table by the show type: ShowPlain leaves it as it is,
    // ShowThousands groups the integer part by three digits ("1,234,567.89"), ShowWanYi
    // writes values of 10^4 and more in 万 and of 10^8 and more in 亿 with two decimals
    // ("123.46万", "1.23亿"). A text that is not a number is returned unchanged.
    static QString TransQtyShowType(const QString &text, ShowType showType);
    // The show type chosen in the settings ("Display/QtyShowType", default ShowThousands).
    static ShowType GetCurrentShowType();

    // ---- Numbers -----------------------------------------------------------------------

    // `value` with exactly `decimals` digits after the point, as QString::number(value,
    // 'f', decimals) writes it (correctly rounded), without the locale machinery: tables
    // format thousands of cells at a time.
    static QString FixedText(double value, int decimals);
    // The same without trailing zeros or point: 0.0523417 -> "0.052342", 1.0 -> "1",
    // -0.0000001 -> "0".
    static QString CompactNumber(double value, int decimals = 6);

    // ---- Business messages ------------------------------------------------------------

    // Puts a line on the host window's business-message panel (from any thread) and in
    // the log. code and errorNo are the business code and error number shown with it.
    static void PutBusiMsg(BusiMsgLevel level, BusiMsgType type, BusiMsgItem item,
                           const QString &text, const QString &code = QString(),
                           const QString &errorNo = QString());
    // The host installs the panel's sink; it is called on the thread that put the message.
    using BusiMsgSink = std::function<void(BusiMsgLevel, const QString &line)>;
    static void setBusiMsgSink(BusiMsgSink sink);

    // ---- File dialogs and placement ---------------------------------------------------

    // Asks for a table file to read (.xlsx or .csv), starting in directory or else in the
    // folder used last, which it remembers. format 0 offers both types, 1 only .xlsx,
    // 2 only .csv. Empty when the user cancels.
    static QString GetOpenTableFileName(QWidget *parent, const QString &caption,
                                        const QString &directory, int format);
    using OpenFileNameHook = std::function<QString(QWidget *parent, const QString &caption,
                                                   const QString &directory, const QString &filter)>;
    // The folder of the table file opened or saved last ("Dialogs/LastTableFolder"), else
    // the user's documents folder; RememberTableFolder keeps the folder of a chosen file.
    static QString LastTableFolder();
    static void RememberTableFolder(const QString &filePath);
    static void setOpenFileNameHook(OpenFileNameHook hook);
    // Where to show a dialog of this size over the widget: centred on it, kept on screen.
    static QPoint GetWidgetPos(QWidget *anchor, const QSize &dialogSize);
    // A style sheet of the skin folder (data/skin/), by its path there
    // ("Veltra/portfolio/portfolionewview.css"); empty when it cannot be read.
    static QString GetSkinStyleSheet(const QString &relativePath);

private:
    VeltraUtils() = delete;
};
