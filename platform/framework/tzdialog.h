#pragma once

#include "tzplatform_global.h"

#include <QDialog>
#include <QPointer>

class QVBoxLayout;

// The framework's dialog frame: a title, one body widget, an adjustable margin around
// it, and an optional delete-on-close.
class TZPLATFORM_EXPORT TzDialog : public QDialog
{
    Q_OBJECT
    Q_PROPERTY(int margin READ margin WRITE setMargin)

public:
    explicit TzDialog(QWidget *parent = nullptr);

    void setTitle(const QString &title);
    QString title() const { return windowTitle(); }
    void setResizable(bool resizable);
    int margin() const;
    void setMargin(int margin);
    void setDeleteOnClose(bool on);

    // Puts the widget into the dialog (the dialog takes ownership); replaces any former body.
    // A body may delete itself (a dialog body closed with Qt::WA_DeleteOnClose); body()
    // is then null.
    void setBody(QWidget *body);
    QWidget *body() const { return m_body; }

private:
    QVBoxLayout *m_layout;
    QPointer<QWidget> m_body;
};
