/**
 * @file file.hpp
 * @brief Files, file streams and child processes as objects.
 */
#ifndef OMBREL_CPP_FILE_HPP
#define OMBREL_CPP_FILE_HPP

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include <ombrel/file.h>
#include <ombrel/file_stream.h>
#include <ombrel/process.h>

#include <ombrel/cpp/format.hpp>
#include <ombrel/cpp/owner.hpp>
#include <ombrel/cpp/text.hpp>

#if defined(__GNUC__)
// The formats were checked by rules that the compiler does not know.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif

namespace ombrel {

/** A reference to the descriptor of an open file, which it does not own. */
class file_ref : public number_ref<0> {
public:
    using number_ref::number_ref;

    /** @brief Reads what there is. @param to receives it @param size room in bytes @return bytes, 0 at the
     * end, -1 */
    std::int64_t read(void* to, std::size_t size) const noexcept { return ombrel_file_read(get(), to, size); }
    /** @brief Writes all. @param bytes the bytes @return 0 or -1 */
    int write(std::string_view bytes) const noexcept {
        return ombrel_file_write_all(get(), bytes.data(), bytes.size());
    }
#if defined(__cpp_lib_span)
    /** @brief Reads what there is. @param to receives it @return bytes, 0 at the end, -1 */
    std::int64_t read(std::span<std::byte> to) const noexcept {
        return read(to.data(), to.size());
    }
    /** @brief Writes all. @param bytes the bytes @return 0 or -1 */
    int write(std::span<const std::byte> bytes) const noexcept {
        return ombrel_file_write_all(get(), bytes.data(), bytes.size());
    }
#endif
    /** @brief Moves. @param offset bytes @param origin `def_ombrel_file_seek_*` @return the position, or -1
     */
    std::int64_t seek(std::int64_t offset, int origin = def_ombrel_file_seek_start) const noexcept {
        return ombrel_file_seek(get(), offset, origin);
    }
    /** @brief Its size. @return bytes, or -1 */
    std::int64_t size() const noexcept {
        return ombrel_file_get_size(get());
    }
    /** @brief Waits until the device has all. @return 0 or -1 */
    int sync() const noexcept {
        return ombrel_file_sync(get());
    }
};

/** Owns an open file. */
class file : public owner<&ombrel_close_file, file_ref> {
public:
    using owner::owner;
    /** @brief Opens a file. @param path the path @param flags `def_ombrel_file_*` @param mode permissions of
     * a new one
     * @return it; nothing on failure */
    static file open(c_text path, std::uint32_t flags = def_ombrel_file_read,
                     std::uint32_t mode = 0666) noexcept {
        return file(ombrel_open_file(path.get(), flags, mode));
    }
};

/** @brief ombrel_alloc_load_file(): all of a file. @param path the path @param limit the most bytes; 0 for
 * #def_ombrel_file_default_limit @param from the caller @return the bytes; nothing on failure */
inline block load_file(c_text path, std::size_t limit = 0, caller from = caller::current()) noexcept {
    std::size_t size = 0;
    void* bytes = ombrel_alloc_load_file_tag(path.get(), limit, &size, from.function, from.line);
    return block(bytes, size);
}

/** @brief ombrel_store_file(): writes a file that no crash leaves half stored. @param path the path @param
 * bytes what it has @param flags as there @param mode permissions of a new one @return 0 or -1 */
inline int store_file(c_text path, std::string_view bytes, std::uint32_t flags = 0,
                      std::uint32_t mode = 0666) noexcept {
    return ombrel_store_file(path.get(), bytes.data(), bytes.size(), flags, mode);
}

/** A reference to a file stream, which it does not own. */
class file_stream_ref : public pointer_ref<ombrel_file_stream_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief The next line. @return it without its end, until the next call; nothing at the end and on
     * failure, which fault_code() tells apart */
    std::optional<std::string_view> read_line() const noexcept {
        char* line = nullptr;
        std::size_t size = 0;
        if (ombrel_file_stream_read_line(get(), &line, &size) != 1)
            return std::nullopt;
        return std::string_view(line, size);
    }
    /** @brief Reads. @param to receives the bytes @param size how many @return bytes, fewer at the end; -1 */
    std::int64_t read(void* to, std::size_t size) const noexcept {
        return ombrel_file_stream_read(get(), to, size);
    }
    /** @brief Writes. @param bytes the bytes @return bytes, or -1 */
    std::int64_t write(std::string_view bytes) const noexcept {
        return ombrel_file_stream_write(get(), bytes.data(), bytes.size());
    }
    /** @brief Writes a formatted text. @param format the format @param args its arguments @return bytes, or
     * -1 */
    template<class... Args>
    std::int64_t print(format_string<Args...> format, const Args&... args) const {
        return detail::call_formatted(
            std::int64_t(-1),
            [&](auto... passed) { return ombrel_file_stream_printf(get(), format.get(), passed...); },
            args...);
    }
    /** @brief Hands on what is buffered. @return 0 or -1 */
    int flush() const noexcept { return ombrel_file_stream_flush(get()); }
    /** @brief Why the stream failed. @return a `def_ombrel_fault_*`, 0 when it has not */
    int fault_code() const noexcept { return ombrel_file_stream_get_fault(get()); }
};

/** Owns a file stream. Its end does not tell of failures of the last writes: flush() does. */
class file_stream : public owner<&ombrel_close_file_stream, file_stream_ref> {
public:
    using owner::owner;
    /** @brief Opens a file. @param path the path @param mode as for fopen() @param options the settings; null
     * for the defaults @param from the caller @return it; nothing on failure */
    static file_stream open(c_text path, c_text mode, const ombrel_file_stream_options_t* options = nullptr,
                            caller from = caller::current()) noexcept {
        return file_stream(
            ombrel_open_file_stream_tag(path.get(), mode.get(), options, from.function, from.line));
    }
};

/** A reference to a child process, which it does not own. */
class process_ref : public pointer_ref<ombrel_process_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief Its number. @return it */
    int id() const noexcept { return ombrel_process_get_id(get()); }
    /** @brief Reads what it prints. @param stream `def_ombrel_process_output` or `_error` @param to receives
     * it
     * @param size room @param timeout_ms milliseconds, negative for no limit @return as ombrel_process_read()
     */
    std::int64_t read(int stream, void* to, std::size_t size, int timeout_ms = -1) const noexcept {
        return ombrel_process_read(get(), stream, to, size, timeout_ms);
    }
    /** @brief Writes to its input. @param bytes the bytes @param timeout_ms milliseconds, negative for no
     * limit
     * @return as ombrel_process_write() */
    std::int64_t write(std::string_view bytes, int timeout_ms = -1) const noexcept {
        return ombrel_process_write(get(), bytes.data(), bytes.size(), timeout_ms);
    }
    /** @brief Waits for its end. @param timeout_ms milliseconds, negative for no limit @return how it ended;
     * nothing when the time ran out */
    std::optional<ombrel_process_end_t> wait(int timeout_ms = -1) const noexcept {
        ombrel_process_end_t end = {};
        return ombrel_process_wait(get(), timeout_ms, &end) == 1 ? std::optional<ombrel_process_end_t>(end)
                                                                 : std::nullopt;
    }
    /** @brief Sends it a signal. @param number `def_ombrel_process_interrupt` and the like @return 0 or -1 */
    int signal(int number) const noexcept { return ombrel_process_signal(get(), number); }
};

/** Owns a child process, whose end is that of the C function ombrel_close_process(). */
class process : public owner<&ombrel_close_process, process_ref> {
public:
    using owner::owner;
    /** @brief Starts a program. @param arguments its name, its arguments, then null @param options the
     * settings; null for the defaults @param from who starts @return it; nothing on failure */
    static process open(const char* const* arguments, const ombrel_process_options_t* options = nullptr,
                        caller from = caller::current()) noexcept {
        return process(ombrel_open_process_tag(arguments, options, from.function, from.line));
    }
};

/** What a program printed and how it ended, from ombrel::run(). */
class process_result {
public:
    /** Empty. */
    process_result() noexcept { ombrel_init_process_result(&result_); }
    process_result(const process_result&) = delete;
    process_result& operator=(const process_result&) = delete;
    /** Takes over another one. */
    process_result(process_result&& from) noexcept : process_result() { swap(from); }
    /** Takes over another one. */
    process_result& operator=(process_result&& from) noexcept {
        process_result taken(std::move(from));
        swap(taken);
        return *this;
    }
    ~process_result() { ombrel_uninit_process_result(&result_); }

    /** @brief Its exit code. @return it; -1 while it is not known and when a signal ended it */
    int exit_code() const noexcept { return result_.m_end.m_exit_code; }
    /** @brief What it printed. @return the bytes */
    std::string_view output() const noexcept { return {result_.m_output, result_.m_output_size}; }
    /** @brief What it complained of. @return the bytes */
    std::string_view error_output() const noexcept { return {result_.m_error, result_.m_error_size}; }
    /** @brief Whether the time ran out before it ended by itself. @return true if so */
    bool is_late() const noexcept { return is_late_; }

private:
    friend std::optional<process_result> run(const char* const* arguments, int timeout_ms,
                                             const ombrel_process_options_t* options, caller from) noexcept;
    void swap(process_result& other) noexcept {
        std::swap(result_, other.result_);
        std::swap(is_late_, other.is_late_);
    }

    ombrel_process_result_t result_;
    bool is_late_ = false;
};

/** @brief ombrel_run_process(): runs a program to its end. @param arguments as process::open() @param
 * timeout_ms milliseconds, negative for no limit @param options the settings; null for the defaults @param
 * from who runs it
 * @return what it printed, also when the time ran out; nothing on failure */
inline std::optional<process_result> run(const char* const* arguments, int timeout_ms = -1,
                                         const ombrel_process_options_t* options = nullptr,
                                         caller from = caller::current()) noexcept {
    std::optional<process_result> result(std::in_place);
    const int ended =
        ombrel_run_process_tag(arguments, options, timeout_ms, &result->result_, from.function, from.line);
    result->is_late_ = ended == 0;
    if (ended < 0)
        result.reset();
    return result;
}

} // namespace ombrel

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#endif
