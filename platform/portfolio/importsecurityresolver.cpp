#include "importsecurityresolver.h"

#include "cdatabase.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "importvalue.h"

using ImportValue::quoted;

namespace {

bool isDigits(const QString &text)
{
    if (text.isEmpty())
        return false;
    for (QChar c : text) {
        if (c.unicode() < '0' || c.unicode() > '9')
            return false;
    }
    return true;
}

// Names compare without width, case and spacing: 万科Ａ is 万科A.
QString nameKey(const QString &name)
{
    QString key = name.normalized(QString::NormalizationForm_KC).toUpper();
    key.remove(QLatin1Char(' '));
    return key;
}

bool sameName(const SecurityInfo *security, const QString &name, const QString &key)
{
    return security->name == name || nameKey(security->name) == key;
}

} // namespace

ImportSecurityResolver::ImportSecurityResolver()
    : m_catalog(SecurityCatalog::instance())
{
    const QStringList keys = {Exchange::sh, Exchange::sz, Exchange::bj, Exchange::hhk,
                              Exchange::szhk, Exchange::hk};
    CDataBase *config = CDataBase::GetInstance();
    for (const QString &key : keys) {
        m_markets.insert(key, key);
        const QString name = config->GetStaticCfgValue(DictionaryKey::exchangeChineseName, key);
        if (!name.isEmpty())
            m_markets.insert(name.toUpper(), key);
    }
}

// The catalogue by the number its code is: six-digit codes (A shares, ETFs, bonds) and
// five-digit Hong Kong codes apart. Built once; the catalogue does not change after it
// is loaded.
const ImportSecurityResolver::CodeIndex &ImportSecurityResolver::codeIndex() const
{
    static const CodeIndex index = [this] {
        CodeIndex built;
        for (const SecurityInfo &s : m_catalog.all()) {
            auto &table = s.listing == Exchange::hk ? built.hongKong : built.mainland;
            table[s.code.toInt()].append(&s);
        }
        return built;
    }();
    return index;
}

void ImportSecurityResolver::addReadings(int code, bool mainland, bool hongKong,
                                         Securities &into) const
{
    const CodeIndex &index = codeIndex();
    if (mainland) {
        const auto it = index.mainland.constFind(code);
        if (it != index.mainland.cend())
            into.append(it->constData(), it->size());
    }
    if (hongKong && code <= 99999) {
        const auto it = index.hongKong.constFind(code);
        if (it != index.hongKong.cend())
            into.append(it->constData(), it->size());
    }
}

// "HK" names the listing; a line of a Hong Kong stock trades on a Stock Connect link. A
// delisted security keeps its listing, so that it is refused as delisted.
bool ImportSecurityResolver::tradesOn(const SecurityInfo *security, const QString &market)
{
    if (market == Exchange::hk)
        return security->listing == Exchange::hk;
    return security->markets.contains(market)
           || (security->delisted && security->listing == market);
}

QString ImportSecurityResolver::describe(const Securities &securities)
{
    QStringList names;
    for (int i = 0; i < securities.size() && i < 3; ++i) {
        const SecurityInfo *s = securities.at(i);
        names << s->name + QStringLiteral("（") + s->symbol + QStringLiteral("）");
    }
    return names.join(QStringLiteral("或"));
}

const SecurityInfo *ImportSecurityResolver::resolve(const QString &code, const QString &market,
                                                    const QString &name, QString &key,
                                                    QString &reason) const
{
    QString wanted;
    if (!market.isEmpty()) {
        wanted = m_markets.value(market);
        if (wanted.isEmpty())
            wanted = m_markets.value(market.toUpper());
        if (wanted.isEmpty()) {
            reason = QStringLiteral("市场") + quoted(market) + QStringLiteral("无效");
            return nullptr;
        }
    }
    const auto notFound = [&] {
        return QStringLiteral("证券代码") + quoted(code) + QStringLiteral("不存在");
    };
    // A full symbol such as 600519.SH or 700.HK; a number cell may also read 600519.0.
    int digits = code.size();
    QString listing;
    const int dot = code.lastIndexOf(QLatin1Char('.'));
    if (dot > 0) {
        digits = dot;
        const QString suffix = code.mid(dot + 1).toUpper();
        if (!(isDigits(suffix) && suffix.count(QLatin1Char('0')) == suffix.size()))
            listing = suffix;
    }
    int number = 0;
    for (int i = 0; i < digits; ++i) {
        const ushort c = code.at(i).unicode();
        if (c < '0' || c > '9' || digits > 6) {
            reason = notFound();
            return nullptr;
        }
        number = number * 10 + (c - '0');
    }
    if (digits == 0) {
        reason = notFound();
        return nullptr;
    }

    // What the code says as written: a suffix names the listing; six digits are no Hong
    // Kong code; five with a leading zero were kept as text, a Hong Kong code as it is.
    // Any shorter one lost its leading zeros and may be either.
    const bool suffixHk = listing == Exchange::hk;
    const bool sixDigits = listing.isEmpty() && digits == 6;
    const bool hongKongCode = listing.isEmpty() && digits == 5 && code.at(0) == QLatin1Char('0');
    Securities readings;
    if (!listing.isEmpty())
        addReadings(number, !suffixHk, suffixHk, readings);
    else
        addReadings(number, !hongKongCode, !sixDigits, readings);
    Securities candidates;
    for (const SecurityInfo *s : qAsConst(readings)) {
        if ((listing.isEmpty() || s->listing == listing)
            && (wanted.isEmpty() || tradesOn(s, wanted)))
            candidates.append(s);
    }
    Securities all;
    bool allKnown = false;
    const auto everyReading = [&]() -> const Securities & {
        if (!allKnown)
            addReadings(number, true, true, all);
        allKnown = true;
        return all;
    };
    if (candidates.isEmpty()) {
        reason = notFound();
        for (const SecurityInfo *s : qAsConst(readings)) {
            if (!wanted.isEmpty() && (listing.isEmpty() || s->listing == listing))
                reason = QStringLiteral("证券代码") + quoted(code) + QStringLiteral("不在市场")
                         + quoted(market) + QStringLiteral("交易");
        }
        return nullptr;
    }
    if (candidates.size() > 1) {
        Securities listed;
        for (const SecurityInfo *s : qAsConst(candidates)) {
            if (!s->delisted)
                listed.append(s);
        }
        if (!listed.isEmpty())
            candidates = listed;
    }

    const SecurityInfo *security = candidates.size() == 1 ? candidates.first() : nullptr;
    if (security && (name.isEmpty() || security->name == name) && !security->delisted
        && !security->markets.isEmpty()) {
        // The usual line: one security, its own name or none.
        key = wanted.isEmpty() || wanted == Exchange::hk ? security->markets.first() : wanted;
        return security;
    }
    const QString wantedName = name.isEmpty() ? QString() : nameKey(name);
    if (!security && !name.isEmpty()) {
        Securities exact;
        Securities partial;
        for (const SecurityInfo *s : qAsConst(candidates)) {
            if (sameName(s, name, wantedName))
                exact.append(s);
            const QString other = nameKey(s->name);
            if (other.contains(wantedName) || wantedName.contains(other))
                partial.append(s);
        }
        if (exact.size() == 1)
            security = exact.first();
        else if (exact.isEmpty() && partial.size() == 1)
            security = partial.first();
    }
    if (!security) {
        reason = QStringLiteral("证券代码") + quoted(code) + QStringLiteral("可能是")
                 + describe(candidates)
                 + (name.isEmpty() ? QString()
                                   : QStringLiteral("，证券名称") + quoted(name)
                                         + QStringLiteral("也无法区分"))
                 + QStringLiteral("，请填写市场或完整代码（如00700.HK）");
        return nullptr;
    }
    if (!name.isEmpty() && !sameName(security, name, wantedName)) {
        for (const SecurityInfo *s : everyReading()) {
            if (s != security && sameName(s, name, wantedName)) {
                Securities chosen;
                chosen.append(security);
                reason = QStringLiteral("证券代码") + quoted(code) + QStringLiteral("是")
                         + describe(chosen) + QStringLiteral("，与证券名称") + quoted(name)
                         + QStringLiteral("不符");
                return nullptr;
            }
        }
    }
    if (security->delisted || security->markets.isEmpty()) {
        reason = QStringLiteral("证券代码") + quoted(code) + QStringLiteral("（")
                 + security->name + QStringLiteral("）已退市");
        return nullptr;
    }
    key = wanted.isEmpty() || wanted == Exchange::hk ? security->markets.first() : wanted;
    return security;
}
