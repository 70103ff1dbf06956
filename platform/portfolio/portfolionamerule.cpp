#include "portfolionamerule.h"

namespace PortfolioNameRule {

QString check(const QString &name)
{
    if (name.isEmpty())
        return QString();
    if (name.trimmed().isEmpty())
        return QStringLiteral("组合名称不能只包含空格！");
    if (name.trimmed() != name)
        return QStringLiteral("组合名称首尾不能有空格！");
    if (name.size() > maxLength)
        return QStringLiteral("组合名称不能超过%1个字符！").arg(maxLength);
    for (int i = 0; i < name.size(); ++i) {
        const QChar c = name.at(i);
        const bool brokenPair = (c.isHighSurrogate() && (i + 1 >= name.size() || !name.at(i + 1).isLowSurrogate()))
            || (c.isLowSurrogate() && (i == 0 || !name.at(i - 1).isHighSurrogate()));
        if (c.category() == QChar::Other_Control || c == QChar::Null || brokenPair
            || c.category() == QChar::Other_NotAssigned)
            return QStringLiteral("组合名称含有无法保存的字符！");
    }
    return QString();
}

} // namespace PortfolioNameRule
