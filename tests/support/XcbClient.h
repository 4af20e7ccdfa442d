#pragma once

#include <QByteArray>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>
#include <xcb/xcb.h>

namespace quillora::test {

/// A plain client of an X server: what tests use to be another program, or the user.
class XcbClient {
public:
    /// Throws std::runtime_error if there is no such display.
    explicit XcbClient(const QByteArray &displayName);
    ~XcbClient();
    XcbClient(const XcbClient &) = delete;
    XcbClient &operator=(const XcbClient &) = delete;

    xcb_connection_t *xcb() const { return m_xcb; }
    xcb_window_t root() const { return m_root; }
    xcb_atom_t atom(const QByteArray &name) const;
    std::vector<uint32_t> numbers(xcb_window_t window, const QByteArray &property) const;

    /// Returns once the server has done everything that was requested.
    void sync() const;

    /// Sends a message about `window` to the root window, as a request to the window manager.
    void tellWindowManager(xcb_window_t window, const QByteArray &message,
                           const std::vector<uint32_t> &data) const;

    template <typename T>
    static auto owned(T *reply) {
        struct Free {
            void operator()(T *memory) const { std::free(memory); }
        };
        return std::unique_ptr<T, Free>(reply);
    }

private:
    xcb_connection_t *m_xcb;
    xcb_window_t m_root = XCB_NONE;
};

} // namespace quillora::test
