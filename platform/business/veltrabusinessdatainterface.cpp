#include "veltrabusinessdatainterface.h"

#include "securitycatalog.h"

QString VeltraBusinessDataInterface::GetSymbolBySecurityIDAndExchange(const QString &securityID,
                                                                      const QString &exchange)
{
    const SecurityInfo *s = SecurityCatalog::instance().byCodeAndMarket(securityID, exchange);
    return s ? s->symbol : QString();
}
