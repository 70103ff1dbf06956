#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;

// Name and password for a shared back end, asked before the window opens. Shows why
// the previous attempt failed, if it did.
class LoginDialog : public QDialog
{
    Q_OBJECT

public:
    LoginDialog(const QString &server, const QString &user, QWidget *parent = nullptr);

    QString user() const;
    QString password() const;
    void setProblem(const QString &text);

private:
    QLineEdit *m_user;
    QLineEdit *m_password;
    QLabel *m_problem;
};
