#pragma once

#include "clipboardcodes.h"

#include <QString>

// "粘贴代码建组合": the codes a trader copied go to the portfolio list, which builds a
// portfolio of them. An open list gets them at once as a clipboard event for its menu;
// a list that is not open finds them in the platform cache when it opens.
class ClipboardCommand
{
public:
    enum Outcome {
        NoCodes,     // nothing in the text looked like a code; nothing was sent
        SentToPage,  // put as CLIPBOARD_CLICK_EVENT to the open page
        KeptForPage  // left in the cache entry CacheName::ClipboardData
    };

    struct Report
    {
        Outcome outcome = NoCodes;
        ClipboardCodes::Result codes;
        QString text;  // for the status bar
    };

    // Hands the codes of this text to the page with this instance id
    // ("TZApp.PortfoliosList#1"), or keeps them for it when pageInstanceId is empty.
    static Report paste(const QString &clipboardText, const QString &pageInstanceId);
};
