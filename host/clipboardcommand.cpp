#include "clipboardcommand.h"

#include "cbusinessdatabase.h"
#include "ceventmessagecommon.h"
#include "cpackmessagecommon.h"
#include "fieldkeys.h"
#include "hostevents.h"
#include "messagebus.h"
#include "msgtypes.h"
#include "tzpluginbasewidget.h"

#include <QDebug>

namespace {

const QString kSymbolList = QStringLiteral("symbolList");

// What became of the text beyond the count: codes the list will not know, repeats and
// what was passed over, so that the trader sees why fewer codes arrived than he copied.
QString details(const ClipboardCodes::Result &codes)
{
    QString text;
    if (!codes.unresolved.isEmpty()) {
        QStringList shown = codes.unresolved.mid(0, 3);
        if (codes.unresolved.size() > 3)
            shown << QStringLiteral("…");
        text += QStringLiteral("，其中%1个无法确认（%2）")
                    .arg(codes.unresolved.size())
                    .arg(shown.join(QStringLiteral("、")));
    }
    const int repeats = codes.codeCount - codes.symbols.size();
    if (repeats > 0)
        text += QStringLiteral("，%1个重复").arg(repeats);
    if (!codes.ignored.isEmpty())
        text += QStringLiteral("；忽略%1项非代码内容").arg(codes.ignored.size());
    return text;
}

} // namespace

ClipboardCommand::Report ClipboardCommand::paste(const QString &clipboardText,
                                                 const QString &pageInstanceId)
{
    Report report;
    report.codes = ClipboardCodes::parse(clipboardText);
    if (report.codes.isEmpty()) {
        report.outcome = NoCodes;
        report.text = QStringLiteral("剪贴板中没有证券代码");
        qInfo().noquote() << "ClipboardCommand::paste no code in" << clipboardText.size()
                          << "characters of clipboard text";
        return report;
    }

    const QStringList &symbols = report.codes.symbols;
    if (pageInstanceId.isEmpty()) {
        // The list reads the entry once when it opens and builds the portfolio then.
        CBusinessDataBase::GetInstance()->SetCacheData(CacheName::ClipboardData,
                                                       QVariantMap{{kSymbolList, symbols}});
        report.outcome = KeptForPage;
        report.text = QStringLiteral("组合列表未打开，已记下%1个证券代码，打开后建组合").arg(symbols.size())
                      + details(report.codes);
    } else {
        CPackMessageCommon body;
        body.AddVaule(MENU_ID, TzPluginBaseWidget::getMenuIDByPluginInstanceID(pageInstanceId));
        body.AddVaule(kSymbolList, symbols);
        CEventMessageCommon event(HostEvents::sourceId, CLIPBOARD_CLICK_EVENT, body.GetPackedMsg(false));
        MessageBus::instance()->putEvent(event);
        report.outcome = SentToPage;
        report.text = QStringLiteral("已将%1个证券代码交给组合列表").arg(symbols.size()) + details(report.codes);
    }
    qInfo().noquote() << "ClipboardCommand::paste" << symbols.join(QLatin1Char(','))
                      << "unresolved" << report.codes.unresolved.join(QLatin1Char(','))
                      << "ignored" << report.codes.ignored.size();
    return report;
}
