#pragma once

#include <QByteArray>
#include <QByteArrayList>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace quillora::test {

/// Another program that owns a selection, with the manners that a test gives it. It has a connection and a
/// thread of its own, and vanishes with this object.
class SelectionPeer {
public:
    struct Offer {
        QByteArray target;
        QByteArray data;
        QByteArray type = target;
        int format = 8;
        bool isAnswered = true;
        bool isRefused = false;
        bool isLate = false; ///< not answered until `giveLate`

        bool operator==(const Offer &) const = default;
    };

    struct Manners {
        bool isHung = false;                ///< never answers anything
        bool isLate = false;                ///< answers nothing until `giveLate`
        bool knowsTargets = true;           ///< answers the question what it offers
        bool givesWhateverIsAsked = false;  ///< its first offer under any target
        std::chrono::milliseconds delay{0}; ///< before every answer
        qsizetype pieceSize = 256 * 1024;   ///< what is larger goes out in pieces of this size
        std::optional<int> diesAfterPieces = std::nullopt;
        std::optional<int> stallsAfterPieces = std::nullopt; ///< lives on, but sends no more of them
    };

    /// Returns once the selection is taken.
    SelectionPeer(const QByteArray &displayName, const QByteArray &selection, std::vector<Offer> offers,
                  Manners manners);
    SelectionPeer(const QByteArray &displayName, const QByteArray &selection, std::vector<Offer> offers)
        : SelectionPeer(displayName, selection, std::move(offers), Manners()) {}
    ~SelectionPeer();
    SelectionPeer(const SelectionPeer &) = delete;
    SelectionPeer &operator=(const SelectionPeer &) = delete;

    /// Has it answer what it has kept waiting, and keep nothing waiting from then on.
    void giveLate();

    /// Every target that it was asked for so far, in order.
    QByteArrayList requested() const;

private:
    class Program;

    mutable std::mutex m_mutex;
    QByteArrayList m_requested; ///< guarded by m_mutex
    int m_endDescriptor;
    int m_lateDescriptor;
    std::thread m_thread;
};

} // namespace quillora::test
