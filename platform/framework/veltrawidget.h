#pragma once

#include "tzplatform_global.h"

#include <QString>
#include <functional>

class QWidget;

// The client's styled message boxes. Every box goes through one process-wide handler,
// which tests and automation replace to record what was shown and answer it; the default
// handler shows a modal box.
class TZPLATFORM_EXPORT VeltraWidget
{
public:
    enum class MsgBoxKind { Tip, Error, Warning, Question, Titled };

    // Shows the box and returns the answer: non-zero for yes/OK in a question box.
    using MsgBoxHandler = std::function<int(MsgBoxKind kind, const QString &title,
                                            const QString &text, QWidget *parent)>;

    static int ShowTipMsgBox(const QString &text, QWidget *parent = nullptr);
    static int ShowErrorMsgBox(const QString &text, QWidget *parent = nullptr);
    static int ShowWarningMsgBox(const QString &text, QWidget *parent = nullptr);
    // Returns non-zero when the user answers yes. defaultButton 0 makes "yes" the default.
    static int ShowQuestionMsgBox(const QString &text, QWidget *parent = nullptr, int defaultButton = 0);
    // A plain box with its own title (for example "提醒").
    static int ShowMsgBox(const QString &title, const QString &text, QWidget *parent = nullptr);

    // Replaces the handler; returns the previous one. An empty handler restores the default.
    static MsgBoxHandler setMsgBoxHandler(MsgBoxHandler handler);
};
