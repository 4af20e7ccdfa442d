#include "platform/linux/FreedMemory.h"
#include "support/ResidentMemory.h"
#include "support/Sanitizers.h"

#include <QTest>

#include <array>
#include <memory>
#include <thread>
#include <vector>

using namespace quillora;

/// On the C library itself.
class FreedMemoryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatAThreadFreesGoesBackHoweverLargeABlockWasFreedBefore();
};

namespace {

constexpr std::size_t mebibyte = 1 << 20;

/// In pieces that no page of their own is worth while for.
void useAndFree(std::size_t bytes) {
    using Piece = std::array<char, 1024>;
    std::vector<std::unique_ptr<Piece>> pieces;
    pieces.reserve(bytes / sizeof(Piece));
    for (std::size_t i = 0; i < bytes / sizeof(Piece); ++i)
        pieces.push_back(std::make_unique<Piece>());
}

} // namespace

void FreedMemoryTest::whatAThreadFreesGoesBackHoweverLargeABlockWasFreedBefore() {
    if (test::isSanitized)
        QSKIP("memory is the sanitizer's, and not the C library's");
    platform::giveFreedMemoryBack();
    std::vector<char>(24 * mebibyte).clear();
    std::thread(useAndFree, mebibyte / 16).join(); // whatever a first thread takes for itself
    const std::size_t before = test::residentBytes();
    std::size_t after = 0;
    std::thread([&after] {
        useAndFree(8 * mebibyte);
        after = test::residentBytes(); // while the thread's heap is still its own
    }).join();
    QVERIFY(after < before + mebibyte);
}

QTEST_GUILESS_MAIN(FreedMemoryTest)
#include "FreedMemoryTest.moc"
