#pragma once

#include <cstddef>
#include <span>

namespace quillora::neural {

/// A stretch of memory straight from the system. Pages count only once they are written to, and all of them
/// are given back at the end: not to the heap, which might keep them, but to the system.
class PageMemory {
public:
    PageMemory() = default;

    /// Zeroed. Throws std::bad_alloc.
    explicit PageMemory(std::size_t capacity);
    PageMemory(PageMemory &&other) noexcept;
    PageMemory &operator=(PageMemory &&other) noexcept;
    ~PageMemory();

    /// The next `count` values, aligned to 64 bytes. They live as long as the memory does. Throws
    /// std::bad_alloc if they do not fit.
    template <class Value>
    std::span<Value> take(std::size_t count) {
        return {static_cast<Value *>(takeBytes(count, sizeof(Value))), count};
    }

    std::size_t used() const { return m_used; }

private:
    void *takeBytes(std::size_t count, std::size_t size);

    void *m_begin = nullptr;
    std::size_t m_capacity = 0;
    std::size_t m_used = 0;
};

} // namespace quillora::neural
