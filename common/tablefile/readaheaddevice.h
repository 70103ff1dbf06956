#pragma once

#include "readahead.h"

#include <QByteArray>
#include <QIODevice>
#include <memory>

class QFile;

// Reads a sequential device on a thread of its own, a few chunks ahead of its reader,
// so that inflating a part of a workbook and scanning it run side by side. A failure of
// the source (damaged data, a wrong CRC-32) reaches the reader once the bytes before it
// are read, with the source's reason.
class ReadAheadDevice : public QIODevice
{
public:
    // The source, and the file it reads from if it needs one of its own, are used by the
    // reading thread only from now on.
    ReadAheadDevice(std::unique_ptr<QFile> file, std::unique_ptr<QIODevice> source,
                    int chunkSize = 256 * 1024, int chunkCount = 4);
    ~ReadAheadDevice() override;

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    bool readChunk(QByteArray &chunk);

    std::unique_ptr<QFile> m_file;
    std::unique_ptr<QIODevice> m_source;
    const int m_chunkSize;
    // Written by the reading thread before it ends, read after take() said so.
    bool m_sourceFailed = false;
    QString m_sourceError;

    QByteArray m_current;  // the reader's chunk
    int m_currentPos = 0;
    // Last: its thread uses the members above.
    ReadAhead<QByteArray> m_chunks;
};
