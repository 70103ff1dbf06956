#include "logindialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

LoginDialog::LoginDialog(const QString &server, const QString &user, QWidget *parent)
    : QDialog(parent)
    , m_user(new QLineEdit(user, this))
    , m_password(new QLineEdit(this))
    , m_problem(new QLabel(this))
{
    setWindowTitle(QStringLiteral("登录"));
    m_user->setObjectName(QStringLiteral("lineEdit_user"));
    m_password->setObjectName(QStringLiteral("lineEdit_password"));
    m_password->setEchoMode(QLineEdit::Password);
    m_user->setMaxLength(64);
    m_password->setMaxLength(1024);
    m_problem->setObjectName(QStringLiteral("label_problem"));
    m_problem->setWordWrap(true);
    m_problem->setStyleSheet(QStringLiteral("color: #d03a2f;"));
    m_problem->hide();

    auto *form = new QFormLayout;
    form->addRow(QStringLiteral("后台："), new QLabel(server, this));
    form->addRow(QStringLiteral("用户名："), m_user);
    form->addRow(QStringLiteral("密码："), m_password);
    auto *buttons = new QDialogButtonBox(this);
    QPushButton *login = buttons->addButton(QStringLiteral("登录"), QDialogButtonBox::AcceptRole);
    buttons->addButton(QStringLiteral("退出"), QDialogButtonBox::RejectRole);
    login->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        if (m_user->text().trimmed().isEmpty() || m_password->text().isEmpty()) {
            setProblem(QStringLiteral("请输入用户名和密码"));
            return;
        }
        accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_problem);
    layout->addWidget(buttons);
    setMinimumWidth(360);
    (user.isEmpty() ? m_user : m_password)->setFocus();
}

QString LoginDialog::user() const
{
    return m_user->text().trimmed();
}

QString LoginDialog::password() const
{
    return m_password->text();
}

void LoginDialog::setProblem(const QString &text)
{
    m_problem->setText(text);
    m_problem->setVisible(!text.isEmpty());
    m_password->clear();
    m_password->setFocus();
}
