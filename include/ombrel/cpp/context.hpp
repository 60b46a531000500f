/**
 * @file context.hpp
 * @brief Plug-ins and contexts as objects.
 */
#ifndef OMBREL_CPP_CONTEXT_HPP
#define OMBREL_CPP_CONTEXT_HPP

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include <ombrel/ctx.h>
#include <ombrel/plugin.h>

#include <ombrel/cpp/error.hpp>
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

/** A reference to a plug-in, without a use of its own. */
class plugin_ref : public number_ref<1> {
public:
    using number_ref::number_ref;

    /** @brief Its base name. @return the text, or null */
    const char* name() const noexcept { return ombrel_plugin_get_name(get()); }
    /** @brief Its MIME-type hint. @return the text, or null */
    const char* mime_type_hint() const noexcept { return ombrel_plugin_get_mime_type_hint(get()); }
    /** @brief Runs its main entry. @param argc number of arguments @param argv the arguments @return its
     * result, 1 without an entry */
    int execute_main(int argc, char** argv) const noexcept {
        return ombrel_plugin_execute_main(get(), argc, argv);
    }
};

/** Owns one use of a plug-in. */
class plugin : public owner<&ombrel_unload_plugin, plugin_ref> {
public:
    using owner::owner;
    /** @brief Loads a plug-in, or adds a use. @param path as ombrel_load_plugin() @param search_list
     * likewise; may be null @return it; when that fails nothing, with what ombrel_load_plugin() gave in get()
     */
    static plugin load(c_text path, c_text search_list = nullptr) noexcept {
        return plugin(ombrel_load_plugin(path.get(), search_list.get()));
    }
};

/** The words of a context's last failure. */
class ctx_error_text {
public:
    /** @brief Asks for them. @param ctx the context's handle */
    explicit ctx_error_text(int ctx) noexcept { ombrel_ctx_get_last_error_text(ctx, text_, sizeof text_); }
    /** @brief The words. @return them, "" when nothing failed */
    const char* c_str() const noexcept { return text_; }

private:
    char text_[def_ombrel_ctx_error_text_size] = "";
};

/** A reference to a context, which it does not own. */
class ctx_ref : public number_ref<1> {
public:
    using number_ref::number_ref;

    /** @brief Opens what a MIME type names. @param mime_type the type @return 0, or below 0 */
    int open_type(c_text mime_type) const noexcept { return ombrel_open_ctx(get(), mime_type.get()); }
    /** @brief Opens a stream. @param source a URI or a path @param mode as for fopen() @param debug 0, or
     * another number for messages @return 0, or below 0 */
    int open_stream(c_text source, c_text mode, int debug = 0) const noexcept {
        return ombrel_open_ctx_stream(get(), source.get(), mode.get(), debug);
    }
    /** @brief Ends the binding, and removes the options. @return 0, or below 0 */
    int close() const noexcept { return ombrel_close_ctx(get()); }
    /** @brief Sets an option. @param name the name @param value its text; null removes it @return 0 or -1 */
    int set_option(c_text name, c_text value) const noexcept {
        return ombrel_ctx_set_option(get(), name.get(), value.get());
    }
    /** @brief Sets an option. @param name the name @param number in decimal @return 0 or -1 */
    int set_option(c_text name, int number) const noexcept {
        return ombrel_ctx_set_option_int_string(get(), name.get(), number);
    }
    /** @brief An option. @param name the name @return its text until it is set again; nothing when it is not
     * set */
    std::optional<std::string_view> option(c_text name) const noexcept {
        const char* found = ombrel_ctx_get_option(get(), name.get());
        return found != nullptr ? std::optional<std::string_view>(found) : std::nullopt;
    }

    /** @brief Reads what there is. @param to receives it @param size room in bytes @return bytes, 0 at the
     * end, below 0 on failure */
    int read(void* to, std::size_t size) const noexcept { return ombrel_ctx_read(get(), to, size); }
    /** @brief Writes. @param bytes the bytes @return bytes written, possibly fewer; below 0 on failure */
    int write(std::string_view bytes) const noexcept {
        return ombrel_ctx_write(get(), bytes.data(), bytes.size());
    }
#if defined(__cpp_lib_span)
    /** @brief Reads what there is. @param to receives it @return bytes, 0 at the end, below 0 on failure */
    int read(std::span<std::byte> to) const noexcept {
        return read(to.data(), to.size());
    }
    /** @brief Writes. @param bytes the bytes @return bytes written, possibly fewer; below 0 on failure */
    int write(std::span<const std::byte> bytes) const noexcept {
        return ombrel_ctx_write(get(), bytes.data(), bytes.size());
    }
#endif
    /** @brief Writes a formatted text. @param format the format @param args its arguments @return bytes, or
     * -1 */
    template<class... Args>
    int print(format_string<Args...> format, const Args&... args) const {
        return detail::call_formatted(
            -1, [&](auto... passed) { return ombrel_ctx_printf(get(), format.get(), passed...); }, args...);
    }
    /** @brief Moves. @param offset bytes @param whence `def_ombrel_ctx_seek_*` @return the position, or -1 */
    std::int64_t seek(std::int64_t offset, int whence = def_ombrel_ctx_seek_set) const noexcept {
        return ombrel_ctx_seek(get(), offset, whence);
    }
    /** @brief Hands on what is held back. @return 0 or -1 */
    int sync() const noexcept {
        return ombrel_ctx_sync(get());
    }

    /** @brief The code of the last failure. @return a `def_ombrel_ctx_error_*` or a plug-in's own */
    int last_error() const noexcept {
        return ombrel_ctx_get_last_error(get());
    }
    /** @brief The words of the last failure. @return them */
    ctx_error_text error_text() const noexcept {
        return ctx_error_text(get());
    }
#if defined(__cpp_exceptions)
    /** @brief Hands a result of this context on, or throws ombrel::error with its code and words when it is
     * below 0. @param result what a call gave @return the same */
    template<class T>
    T check(T result) const {
        if (result < T())
            throw error(last_error(), error_text().c_str());
        return result;
    }
#endif
};

/** Owns a context. */
class ctx : public owner<&ombrel_destroy_ctx, ctx_ref> {
public:
    using owner::owner;
    /** @brief A closed context. @return it; nothing when memory or handles run out */
    static ctx make() noexcept { return ctx(ombrel_new_ctx()); }
};

} // namespace ombrel

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#endif
