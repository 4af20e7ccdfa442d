#pragma once

#include <QByteArray>

#include <map>
#include <thread>

namespace quillora::test {

/// A way to a display on which some of what clients say is changed: it makes a server look as though it
/// lacked something.
class RewritingDisplay {
public:
    /// In what clients say, `from` becomes `to`, which is as long.
    RewritingDisplay(const QByteArray &displayName, QByteArray from, QByteArray to);
    ~RewritingDisplay();
    RewritingDisplay(const RewritingDisplay &) = delete;
    RewritingDisplay &operator=(const RewritingDisplay &) = delete;

    /// What clients call this way.
    const QByteArray &name() const { return m_name; }

private:
    void serve();
    void acceptClient();
    bool passOn(int socket);

    QByteArray m_name;
    QByteArray m_serverPath;
    QByteArray m_from;
    QByteArray m_to;
    int m_listener = -1;
    int m_stop[2] = {-1, -1};   ///< a pipe; closing its write end ends the thread
    std::map<int, int> m_peers; ///< each socket and the one at the other end; the thread's
    std::map<int, bool> m_isClient;
    std::thread m_thread;
};

} // namespace quillora::test
