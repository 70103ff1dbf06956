#pragma once

#include "tzplatform_global.h"

#include "securitysearchindex.h"

#include <QLineEdit>
#include <QVector>

class QTreeWidget;

// The code search box: a line edit that lists, as the trader types, the securities whose
// code, name or pinyin initials match (code, name and market per line, best first), and
// hands the one picked to its owner. Keyboard-driven: Down/Up move through the list,
// Enter picks the highlighted line (the first when none is), Escape closes the list. The
// text is cleared after a pick, ready for the next code. A text that matches nothing says
// so in the list; a code too short to match is told so on Enter.
class TZPLATFORM_EXPORT TzSearchBox : public QLineEdit
{
    Q_OBJECT

public:
    explicit TzSearchBox(QWidget *parent = nullptr);
    ~TzSearchBox() override;

    // The securities the box offers (symbols; unknown ones are ignored).
    void setSymbolList(const QStringList &symbols);
    int symbolCount() const { return m_positions.size(); }
    // How many characters of a code must be typed before codes are matched by prefix.
    void setMinMatchLength(int length);
    int minMatchLength() const { return m_minCodeLength; }
    void setMaxResults(int count) { m_maxResults = count; }

    QVector<SecuritySearchHit> search(const QString &text) const;
    // The list of matches under the box; visible while there is something to pick.
    QTreeWidget *popupList() const { return m_popup; }
    bool isPopupVisible() const;

signals:
    // symbol "600519.SH", market the key of the market it is picked on ("SH", "HHK").
    void signalSymbolSelected(QString symbol, QString market);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void refresh(const QString &text);
    // Shows one line that cannot be picked, saying why there is nothing to pick.
    void showNotice(const QString &notice);
    void placePopup();
    void pick(int row);
    void hidePopup();

    QTreeWidget *m_popup;
    QVector<int> m_positions;
    int m_minCodeLength = 1;
    int m_maxResults = 50;
};
