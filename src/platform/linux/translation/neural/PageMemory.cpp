#include "platform/linux/translation/neural/PageMemory.h"

#include <sys/mman.h>

#include <new>
#include <utility>

namespace quillora::neural {

namespace {

constexpr std::size_t alignment = 64;

} // namespace

PageMemory::PageMemory(std::size_t capacity) : m_capacity(capacity) {
    if (capacity == 0)
        return;
    m_begin =
        mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (m_begin == MAP_FAILED) {
        m_begin = nullptr;
        throw std::bad_alloc();
    }
    // Weights are read from one end to the other, token after token: the fewer pages the better. Only a wish.
    madvise(m_begin, capacity, MADV_HUGEPAGE);
}

PageMemory::PageMemory(PageMemory &&other) noexcept
    : m_begin(std::exchange(other.m_begin, nullptr)), m_capacity(std::exchange(other.m_capacity, 0)),
      m_used(std::exchange(other.m_used, 0)) {}

PageMemory &PageMemory::operator=(PageMemory &&other) noexcept {
    std::swap(m_begin, other.m_begin);
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_used, other.m_used);
    return *this;
}

PageMemory::~PageMemory() {
    if (m_begin != nullptr)
        munmap(m_begin, m_capacity);
}

void *PageMemory::takeBytes(std::size_t count, std::size_t size) {
    if (count > (m_capacity - m_used) / size)
        throw std::bad_alloc();
    void *begin = static_cast<std::byte *>(m_begin) + m_used;
    const std::size_t bytes = (count * size + alignment - 1) / alignment * alignment;
    m_used += bytes < m_capacity - m_used ? bytes : m_capacity - m_used;
    return begin;
}

} // namespace quillora::neural
