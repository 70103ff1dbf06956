#pragma once

#include <QStyle>
#include <QWidget>

// Applies the skin's style sheet again after a property it matches on changed
// (VeltraPushButton[styleType="Highlight"], VeltraTabWidget[tabStyleType=...]).
inline void repolish(QWidget *w)
{
    w->style()->unpolish(w);
    w->style()->polish(w);
    w->update();
}
