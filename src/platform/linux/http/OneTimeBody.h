#pragma once

#include <QIODevice>

#include <algorithm>
#include <cstring>
#include <utility>

namespace quillora::platform {

/// A request body that can be read once. The toolkit rewinds any other, to repeat the request on its own, up
/// to twice, when a server closes the connection instead of answering.
class OneTimeBody : public QIODevice {
public:
    OneTimeBody(QByteArray body, QObject *parent) : QIODevice(parent), m_rest(std::move(body)) {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    bool isSequential() const override { return true; }
    bool reset() override { return false; }
    bool atEnd() const override { return m_rest.isEmpty(); }
    qint64 bytesAvailable() const override { return m_rest.size(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override {
        const auto size = std::min<qint64>(maxSize, m_rest.size());
        std::memcpy(data, m_rest.constData(), static_cast<size_t>(size));
        m_rest.remove(0, size);
        return size;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_rest;
};

} // namespace quillora::platform
