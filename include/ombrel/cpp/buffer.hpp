/**
 * @file buffer.hpp
 * @brief The byte queue of buffer.h as an object.
 */
#ifndef OMBREL_CPP_BUFFER_HPP
#define OMBREL_CPP_BUFFER_HPP

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include <ombrel/buffer.h>

#include <ombrel/cpp/callable.hpp>
#include <ombrel/cpp/format.hpp>
#include <ombrel/cpp/owner.hpp>
#include <ombrel/cpp/text.hpp>

namespace ombrel {

/** A reference to a queue of bytes, which it does not own. */
class buffer_ref : public pointer_ref<ombrel_buffer_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief Queues bytes. @param bytes the bytes @param flags `def_ombrel_buffer_flag_*` of this push
     * @return bytes queued, fewer when memory runs out */
    std::size_t push(std::string_view bytes, std::uint32_t flags = 0) const noexcept {
        return bytes.empty() ? 0 : ombrel_push_buffer_ex(get(), bytes.data(), bytes.size(), flags);
    }
    /** @brief Queues a formatted text. @param format the format @param args its arguments @return bytes
     * queued */
    template<class... Args>
    std::size_t print(format_string<Args...> format, const Args&... args) const {
        return format_to(get(), format, args...);
    }
    /** @brief Queues a file's bytes. @param path the file @param offset the first byte; from the end when
     * negative
     * @param limit most bytes, 0 for all @return bytes queued, or -1 */
    std::ptrdiff_t push_file(c_text path, std::int64_t offset = 0, std::size_t limit = 0) const noexcept {
        return ombrel_push_buffer_from_file(get(), path.get(), offset, limit);
    }

    /** @brief Takes bytes from the front. @param to receives them; null discards them @param size the most to
     * take @return bytes taken */
    std::size_t pop(void* to, std::size_t size) const noexcept {
        return ombrel_pop_buffer_ex(get(), to, size, 0);
    }
    /** @brief Copies bytes and leaves them. @param to receives them @param size the most to copy @param
     * position bytes to skip @return bytes copied */
    std::size_t peek(void* to, std::size_t size, std::size_t position = 0) const noexcept {
        return ombrel_peek_buffer_ex(get(), to, size, position, 0);
    }
#if defined(__cpp_lib_span)
    /** @brief Queues bytes. @param bytes the bytes @param flags as push() @return bytes queued */
    std::size_t push(std::span<const std::byte> bytes, std::uint32_t flags = 0) const noexcept {
        return bytes.empty() ? 0 : ombrel_push_buffer_ex(get(), bytes.data(), bytes.size(), flags);
    }
    /** @brief Takes bytes from the front. @param to receives them @return those that were taken */
    std::span<std::byte> pop(std::span<std::byte> to) const noexcept {
        return to.first(pop(to.data(), to.size()));
    }
#endif
    /** @brief Takes the next complete line, as ombrel_pop_buffer_line(). @return it; nothing when there is
     * none */
    text pop_line() const noexcept {
        return text(ombrel_pop_buffer_line(get()));
    }
    /** @brief Takes bytes into a block of their own, without copying where possible. @param size the most to
     * take @return the block; nothing when there are none or memory runs out */
    block take(std::size_t size) const noexcept {
        const std::size_t taken = size < this->size() ? size : this->size();
        return block(ombrel_alloc_pop_buffer_ex(get(), size, 0), taken);
    }
    /** @brief Discards all bytes. @return their number */
    std::size_t flush() const noexcept {
        return ombrel_flush_buffer(get());
    }
    /** @brief The bytes queued. @return their number */
    std::size_t size() const noexcept {
        return ombrel_get_buffer_size(get());
    }
    /** @brief Whether the queue is empty. @return true if it is */
    bool empty() const noexcept {
        return size() == 0;
    }
    /** @brief Bytes ever taken from the front. @return their number */
    std::uint64_t offset() const noexcept {
        return ombrel_get_buffer_offset(get());
    }
    /** @brief ombrel_end_buffer(): no more will come. */
    void end() const noexcept {
        ombrel_end_buffer(get());
    }
};

/** @brief Queues a formatted text. @param to the buffer @param format the format @param args its arguments
 * @return bytes queued, 0 on failure */
template<class... Args>
std::size_t format_to(buffer_ref to, format_string<Args...> format, const Args&... args) {
    return to.print(format, args...);
}

/** @cond */
namespace detail {
inline int close_buffer(ombrel_buffer_t* buffer) {
    return ombrel_close_buffer(buffer) == nullptr ? 0 : -1;
}
} // namespace detail
/** @endcond */

/** Owns a queue of bytes. */
class [[nodiscard]] buffer : public owner<&detail::close_buffer, buffer_ref> {
public:
    using owner::owner;
    /** @brief An empty queue. @param flags for every push, `def_ombrel_buffer_flag_*` @return it; nothing
     * when memory runs out */
    static buffer open(std::uint32_t flags = 0) noexcept { return buffer(ombrel_open_buffer_ex(flags)); }
};

/**
 * A queue whose pushed bytes a callable takes on a thread of its own, and the callable.
 *
 * Any thread may push. The end waits for the thread, so it must not come in the callable.
 */
class [[nodiscard]] handled_buffer {
public:
    /** Holds nothing. */
    handled_buffer() noexcept = default;
    /** Takes over another one, after the end of what it had. */
    handled_buffer(handled_buffer&&) noexcept = default;
    /** Takes over another one, after the end of what it had. */
    handled_buffer& operator=(handled_buffer&& from) noexcept {
        queue_ = std::move(from.queue_); // before the callable that it calls
        callable_ = std::move(from.callable_);
        return *this;
    }

    /**
     * @brief Opens a queue.
     * @param callable takes the bytes of one push as a `std::string_view`, on the queue's thread; it must not
     * throw
     * @param flags    as buffer::open()
     * @param from     who opens
     * @return it; nothing when memory or threads run out
     */
    template<class F>
    static handled_buffer open(F&& callable, std::uint32_t flags = 0, caller from = caller::current()) {
        auto* box = detail::make_box<detail::callable_box>(std::forward<F>(callable), from);
        if (box == nullptr)
            return {};
        handled_buffer made;
        made.callable_.reset(box);
        made.queue_.reset(ombrel_open_buffer_ex2(flags, &call<std::remove_pointer_t<decltype(box)>>, box));
        return made.queue_ ? std::move(made) : handled_buffer();
    }

    /** @brief The queue. @return a reference, to push to */
    buffer_ref get() const noexcept { return queue_; }
    /** Whether there is one. */
    explicit operator bool() const noexcept { return static_cast<bool>(queue_); }

private:
    template<class Box>
    static int call(void* context, const void* data, std::size_t size, std::uint32_t, std::uint32_t,
                    std::size_t) noexcept {
        auto& callable = static_cast<Box*>(context)->callable;
        return detail::answer_of(callable, std::string_view(static_cast<const char*>(data), size));
    }

    detail::callable_owner callable_; // outlives the queue
    buffer queue_;
};

} // namespace ombrel

#endif
