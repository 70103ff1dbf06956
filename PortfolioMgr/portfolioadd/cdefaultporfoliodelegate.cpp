#include "cdefaultporfoliodelegate.h"

#include "portfolioaddrows.h"
#include "recordmodel.h"
#include "tzcore.h"
#include "veltrautils.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSettings>
#include <QTimer>

using namespace PortfolioAddRows;

QuantityValidator::QuantityValidator(int top, QObject *parent)
    : QIntValidator(0, top, parent)
{
}

QValidator::State QuantityValidator::validate(QString &input, int &) const
{
    if (input.isEmpty())
        return Intermediate;
    for (QChar c : qAsConst(input)) {
        if (!c.isDigit() || c.unicode() > '9')
            return Invalid;
    }
    bool ok = false;
    const qint64 value = input.toLongLong(&ok);
    return ok && value <= top() ? Acceptable : Invalid;
}

const QString RelWeightValidator::pattern =
    QStringLiteral("^(?:[1-9][0-9]*(.)?([0-9]+)?|0(.)?((?!0+$)[0-9]+)?)$");

RelWeightValidator::RelWeightValidator(QObject *parent)
    : QRegularExpressionValidator(QRegularExpression(pattern), parent)
{
}

QValidator::State RelWeightValidator::validate(QString &input, int &pos) const
{
    const State state = QRegularExpressionValidator::validate(input, pos);
    if (state != Acceptable)
        return state;
    bool ok = false;
    const double value = input.toDouble(&ok);
    return ok && value > 0.0 ? Acceptable : Intermediate;
}

CDefaultPorfoliodelegate::CDefaultPorfoliodelegate(ShowType showType, QObject *parent)
    : TzItemModelDeletage(parent)
    , m_showType(showType)
    , m_unlimited(TzCore::settings()->value(QStringLiteral("PortfolioTrade/UnlimitedLineQty"), false).toBool())
{
}

QWidget *CDefaultPorfoliodelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &,
                                                const QModelIndex &index) const
{
    switch (index.column()) {
    case Market: {
        const QStringList markets = index.data(MarketsRole).toStringList();
        if (markets.isEmpty())
            return nullptr;
        auto *combo = new QComboBox(parent);
        combo->setObjectName(QStringLiteral("cbx_exchange"));
        for (const QString &market : markets)
            combo->addItem(marketName(market), market);
        commitOnPick(combo);
        return combo;
    }
    case Side: {
        auto *combo = new QComboBox(parent);
        combo->addItems(sides());
        commitOnPick(combo);
        return combo;
    }
    case Quantity: {
        auto *edit = new QLineEdit(parent);
        edit->setValidator(new QuantityValidator(editableQuantityLimit(index, m_unlimited), edit));
        return edit;
    }
    case RelWeight: {
        auto *edit = new QLineEdit(parent);
        edit->setValidator(new RelWeightValidator(edit));
        return edit;
    }
    default:
        return nullptr;
    }
}

namespace {

// On a closed combo box the arrow keys change the value and report it as a pick, which
// would close the editor after one step: here they open the list instead, so every pick
// (mouse or keyboard) is made in the list.
class OpenListOnKeys : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *combo = qobject_cast<QComboBox *>(watched);
        if (combo && event->type() == QEvent::KeyPress && !combo->view()->isVisible()) {
            const int key = static_cast<QKeyEvent *>(event)->key();
            if (key == Qt::Key_Up || key == Qt::Key_Down || key == Qt::Key_PageUp
                || key == Qt::Key_PageDown || key == Qt::Key_Home || key == Qt::Key_End) {
                combo->showPopup();
                return true;
            }
        }
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

void CDefaultPorfoliodelegate::commitOnPick(QComboBox *combo) const
{
    // A pick in the list is the trader's answer: take it without waiting for the focus
    // to leave the editor. The list opens as the edit starts.
    auto *self = const_cast<CDefaultPorfoliodelegate *>(this);
    connect(combo, QOverload<int>::of(&QComboBox::activated), self, [self, combo] {
        emit self->commitData(combo);
        emit self->closeEditor(combo);
    });
    combo->installEventFilter(new OpenListOnKeys(combo));
    QTimer::singleShot(0, combo, [combo] {
        if (combo->isVisible())
            combo->showPopup();
    });
}

void CDefaultPorfoliodelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    if (auto *combo = qobject_cast<QComboBox *>(editor)) {
        const int at = index.column() == Market ? combo->findData(index.data(Qt::UserRole))
                                                : combo->findText(index.data(Qt::DisplayRole).toString());
        combo->setCurrentIndex(qMax(0, at));
    } else if (auto *edit = qobject_cast<QLineEdit *>(editor)) {
        const QVariant value = index.data(Qt::UserRole);
        edit->setText(index.column() == RelWeight ? index.data(Qt::DisplayRole).toString()
                                                  : QString::number(value.toLongLong()));
        edit->selectAll();
    }
}

void CDefaultPorfoliodelegate::setModelData(QWidget *editor, QAbstractItemModel *model,
                                            const QModelIndex &index) const
{
    switch (index.column()) {
    case Market: {
        auto *combo = qobject_cast<QComboBox *>(editor);
        const QString market = combo ? combo->currentData().toString() : QString();
        if (market.isEmpty() || market == index.data(Qt::UserRole).toString())
            return;
        model->setData(index, marketName(market), Qt::DisplayRole);
        model->setData(index, market, Qt::UserRole);
        break;
    }
    case Side: {
        auto *combo = qobject_cast<QComboBox *>(editor);
        if (!combo || combo->currentText() == index.data(Qt::DisplayRole).toString())
            return;
        model->setData(index, combo->currentText(), Qt::DisplayRole);
        model->setData(index, combo->currentText(), Qt::UserRole);
        break;
    }
    case Quantity: {
        auto *edit = qobject_cast<QLineEdit *>(editor);
        if (!edit || !edit->hasAcceptableInput())
            return;  // an empty or refused text keeps the old quantity
        const qint64 quantity = edit->text().toLongLong();
        model->setData(index, VeltraUtils::TransQtyShowType(QString::number(quantity), m_showType),
                       Qt::DisplayRole);
        model->setData(index, quantity, Qt::UserRole);
        break;
    }
    case RelWeight: {
        auto *edit = qobject_cast<QLineEdit *>(editor);
        if (!edit || !edit->hasAcceptableInput())
            return;
        RowRecord row;
        setRelWeight(row, edit->text().toDouble());
        model->setData(index, row[RelWeight][RecordRole::display], Qt::DisplayRole);
        model->setData(index, row[RelWeight][RecordRole::user], Qt::UserRole);
        break;
    }
    default:
        return;
    }
    emit signalDataChanged(index);
}
