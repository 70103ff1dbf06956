#include "readaheaddevice.h"

#include <QFile>
#include <cstring>

ReadAheadDevice::ReadAheadDevice(std::unique_ptr<QFile> file, std::unique_ptr<QIODevice> source,
                                 int chunkSize, int chunkCount)
    : m_file(std::move(file)), m_source(std::move(source)), m_chunkSize(qMax(chunkSize, 1)),
      m_chunks([this](QByteArray &chunk) { return readChunk(chunk); },
               [](const QByteArray &chunk) { return size_t(chunk.size()); },
               size_t(qMax(chunkCount, 1)), size_t(qMax(chunkCount, 1)) * size_t(m_chunkSize))
{
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

ReadAheadDevice::~ReadAheadDevice() = default;

bool ReadAheadDevice::readChunk(QByteArray &chunk)
{
    chunk.resize(m_chunkSize);
    const qint64 got = m_source->read(chunk.data(), m_chunkSize);
    if (got > 0) {
        chunk.resize(int(got));
        return true;
    }
    if (got < 0) {
        m_sourceFailed = true;
        m_sourceError = m_source->errorString();
    }
    return false;
}

qint64 ReadAheadDevice::readData(char *data, qint64 maxSize)
{
    if (m_currentPos == m_current.size()) {
        if (!m_chunks.take(m_current)) {
            if (!m_sourceFailed)
                return 0;
            setErrorString(m_sourceError);
            return -1;
        }
        m_currentPos = 0;
    }
    const qint64 length = qMin<qint64>(maxSize, m_current.size() - m_currentPos);
    std::memcpy(data, m_current.constData() + m_currentPos, size_t(length));
    m_currentPos += int(length);
    return length;
}
