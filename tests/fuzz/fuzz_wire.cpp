// A connection's frames as the back end receives them: the bytes are decoded as a body
// on their own, and then handed to the service as one frame of a logged-in desk, so that
// whatever envelope and body decode reach the request handlers, on a database in memory.
// Nothing a client sends may crash the service or make it misbehave under the sanitizers.

#include "backendservice.h"
#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "fieldkeys.h"
#include "msgtypes.h"
#include "securitycatalog.h"
#include "tzcore.h"
#include "wirecodec.h"

#include <QCoreApplication>
#include <cstdint>

namespace {

constexpr quint64 kDesk = 1;

BackendService &service()
{
    static BackendService *instance = [] {
        static int argc = 1;
        static char name[] = "fuzz_wire";
        static char *argv[] = {name, nullptr};
        new QCoreApplication(argc, argv);
        TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
        SecurityCatalog::instance();
        BackendService::Options options;
        options.databasePath = QStringLiteral(":memory:");
        options.feedManualClock = true;
        auto *s = new BackendService(options);
        QString error;
        if (!s->open(&error))
            qFatal("fuzz_wire: %s", qPrintable(error));
        // The desk logs in once, as a desk inside the process does.
        CPackMessageCommon body;
        body.AddVaule(RequestField::userID, QStringLiteral("demo"));
        s->onClientFrame(kDesk, CMessageCommon::request(1, QString(), MsgType::loginRequest, body.GetPackedMsg(false))
                                    .toWire());
        return s;
    }();
    return *instance;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    BackendService &backend = service();
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size));
    QVariantMap header;
    QList<QVariantMap> rows;
    WireCodec::decodeBody(bytes, header, rows);
    backend.onClientFrame(kDesk, QByteArray(bytes.constData(), bytes.size()));
    // Delayed answers (none are planned here) and feed records would run from the loop.
    QCoreApplication::processEvents();
    return 0;
}
