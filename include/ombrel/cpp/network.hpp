/**
 * @file network.hpp
 * @brief Names, sockets, and HTTP with callables as handlers.
 */
#ifndef OMBREL_CPP_NETWORK_HPP
#define OMBREL_CPP_NETWORK_HPP

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include <ombrel/http_client.h>
#include <ombrel/http_server.h>
#include <ombrel/resolver.h>
#include <ombrel/resolver_cache.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include <ombrel/cpp/callable.hpp>
#include <ombrel/cpp/event.hpp>
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

/** Owns the answers for a name; a range of `const ombrel_resolver_t`. */
class resolver_list : public owner<&ombrel_close_resolver> {
public:
    using owner::owner;
    /** Walks along the answers. */
    class iterator {
    public:
        using iterator_category = std::forward_iterator_tag; /**< for the standard's algorithms */
        using value_type = const ombrel_resolver_t;          /**< likewise */
        using difference_type = std::ptrdiff_t;              /**< likewise */
        using pointer = const ombrel_resolver_t*;            /**< likewise */
        using reference = const ombrel_resolver_t&;          /**< likewise */

        /** @brief At an answer, or at null after the last. */
        explicit iterator(pointer at = nullptr) noexcept : at_(at) {}
        /** The answer. */
        reference operator*() const noexcept { return *at_; }
        /** The answer. */
        pointer operator->() const noexcept { return at_; }
        /** Goes on. */
        iterator& operator++() noexcept {
            at_ = at_->m_next;
            return *this;
        }
        /** Goes on. */
        iterator operator++(int) noexcept { return iterator(std::exchange(at_, at_->m_next)); }
        /** Whether both are at one answer. */
        friend bool operator==(iterator left, iterator right) noexcept { return left.at_ == right.at_; }
        /** Whether they are not. */
        friend bool operator!=(iterator left, iterator right) noexcept { return left.at_ != right.at_; }

    private:
        pointer at_;
    };

    /** @brief Resolves a name, and waits for that. @param host as ombrel_open_resolver() @param port likewise
     * @return the answers; nothing when there is none */
    static resolver_list open(c_text host, int port) noexcept {
        return resolver_list(ombrel_open_resolver(host.get(), port));
    }
    /** @brief The first answer. @return it */
    iterator begin() const noexcept { return iterator(get()); }
    /** @brief The end: after the last. @return it */
    iterator end() const noexcept { return iterator(); }
};

/** Owns a cache of names and its thread. */
using resolver_cache = owner<&ombrel_close_resolver_cache>;

/** Owns a socket: `ombrel::socket(ombrel_open_listen_socket("127.0.0.1", 0))`. */
using socket = owner<&ombrel_close_socket, number_ref<0>>;

/** A request and its answer, which belong to the server: what the handlers of routes are given. */
class http_exchange : public pointer_ref<ombrel_http_exchange_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief The method. @return it, such as "GET" */
    std::string_view method() const noexcept {
        return detail::view_of(ombrel_http_exchange_get_method(get()));
    }
    /** @brief The path, decoded. @return it */
    std::string_view path() const noexcept { return detail::view_of(ombrel_http_exchange_get_path(get())); }
    /** @brief What of the path stands in the place of the route's star. @return it */
    std::string_view path_rest() const noexcept {
        return detail::view_of(ombrel_http_exchange_get_path_rest(get()));
    }
    /** @brief A field of the head. @param name the name @return its value; nothing without it */
    std::optional<std::string_view> field(c_text name) const noexcept {
        const char* found = ombrel_http_exchange_get_field(get(), name.get());
        return found != nullptr ? std::optional<std::string_view>(found) : std::nullopt;
    }
    /** @brief The body, of routes that are not streamed. @return it */
    std::string_view body() const noexcept {
        std::size_t size = 0;
        const void* found = ombrel_http_exchange_get_body(get(), &size);
        return found != nullptr ? std::string_view(static_cast<const char*>(found), size)
                                : std::string_view();
    }
    /** @brief Answers. @param status such as 200 @param type the MIME type @param body the body @return 0 or
     * -1 */
    int answer(int status, c_text type, std::string_view body) const noexcept {
        return ombrel_http_exchange_answer(get(), status, type.get(), body.data(), body.size());
    }
    /** @brief Answers with a formatted text. @param status such as 200 @param type the MIME type @param
     * format the format
     * @param args its arguments @return 0 or -1 */
    template<class... Args>
    int answer_format(int status, c_text type, format_string<Args...> format, const Args&... args) const {
        return detail::call_formatted(
            -1,
            [&](auto... passed) {
                return ombrel_http_exchange_answer_printf(get(), status, type.get(), format.get(), passed...);
            },
            args...);
    }
};

/** @cond */
namespace detail {
/// The callables of a server's routes, one after the other.
struct route_box : callable_box {
    route_box* next = nullptr;
};
} // namespace detail
/** @endcond */

/**
 * Owns an HTTP server and the callables of its routes, which live as long as it does. As the C function it
 * cannot be closed in a handler of its own: then all of it stays, for good.
 */
class http_server : public pointer_ref<ombrel_http_server_t> {
public:
    /** Holds nothing. */
    http_server() noexcept = default;
    /** Takes over another one. */
    http_server(http_server&& from) noexcept
        : pointer_ref(from), routes_(std::exchange(from.routes_, nullptr)) {
        static_cast<pointer_ref&>(from) = pointer_ref();
    }
    /** Closes what it has and takes over another one. */
    http_server& operator=(http_server&& from) noexcept {
        http_server taken(std::move(from));
        std::swap(static_cast<pointer_ref&>(*this), static_cast<pointer_ref&>(taken));
        std::swap(routes_, taken.routes_);
        return *this;
    }
    ~http_server() {
        if (ombrel_close_http_server(get()) != 0)
            return;
        while (routes_ != nullptr) {
            detail::route_box* first = std::exchange(routes_, routes_->next);
            first->destroy(first);
        }
    }

    /** @brief A server that listens nowhere yet. @param base its loop, which outlives it @param options the
     * settings; null for the defaults @param from the caller @return it; nothing on failure */
    static http_server open(event_base_ref base, const ombrel_http_server_options_t* options = nullptr,
                            caller from = caller::current()) noexcept {
        http_server made;
        static_cast<pointer_ref&>(made) =
            pointer_ref(ombrel_open_http_server_tag(base.get(), options, from.function, from.line));
        return made;
    }
    /** @brief Listens at one more address. @param address numeric, "localhost" or null @param port 0 for a
     * free one
     * @return the port, or -1 */
    int listen(c_text address, int port) const noexcept {
        return ombrel_http_server_listen(get(), address.get(), port);
    }
    /**
     * @brief Adds a route.
     * @param method the method, or null for any
     * @param path     as ombrel_http_server_add_route()
     * @param callable called as `callable(ombrel::http_exchange)`; 0 or nothing is well, anything else has
     * the request answered 500. It must not throw
     * @param from     who adds
     * @return 0 or -1
     */
    template<class F>
    int add_route(c_text method, c_text path, F&& callable, caller from = caller::current()) {
        auto* box = detail::make_box<detail::route_box>(std::forward<F>(callable), from);
        if (box == nullptr)
            return -1;
        box->next = std::exchange(routes_, box);
        return ombrel_http_server_add_route(get(), method.get(), path.get(),
                                            &call<std::remove_pointer_t<decltype(box)>>, box);
    }

private:
    template<class Box>
    static int call(ombrel_http_exchange_t* exchange, void* context) noexcept {
        return detail::answer_of(static_cast<Box*>(context)->callable, http_exchange(exchange));
    }

    detail::route_box* routes_ = nullptr;
};

/** Owns the answer of an HTTP server. */
class http_answer : public owner<&ombrel_free_http_answer> {
public:
    using owner::owner;
    /** @brief Fetches, and waits for that. @param uri "http://..." @param timeout_ms milliseconds, negative
     * for no limit @param error receives why it failed; may be null @param from who fetches @return it;
     * nothing on failure */
    static http_answer fetch(c_text uri, int timeout_ms, ombrel_transfer_error_t* error = nullptr,
                             caller from = caller::current()) noexcept {
        return http_answer(ombrel_fetch_http_tag(uri.get(), timeout_ms, error, from.function, from.line));
    }
    /** @brief The status. @return it, as 200; 0 when there is no answer */
    int status() const noexcept { return get() != nullptr ? get()->m_status : 0; }
    /** @brief The body. @return it, empty when there is no answer */
    std::string_view body() const noexcept {
        return get() != nullptr ? std::string_view(get()->m_body, get()->m_body_size) : std::string_view();
    }
};

/** A call of an HTTP client, which belongs to the client. */
class http_call : public pointer_ref<ombrel_http_call_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief The status. @return it; 0 when there was none */
    int status() const noexcept { return ombrel_http_call_get_status(get()); }
    /** @brief What was collected. @return the bytes, valid in the handler */
    std::string_view body() const noexcept {
        std::size_t size = 0;
        const char* found = ombrel_http_call_get_body(get(), &size);
        return found != nullptr ? std::string_view(found, size) : std::string_view();
    }
    /** @brief Why it failed. @return it */
    const ombrel_transfer_error_t& error() const noexcept { return *ombrel_http_call_get_error(get()); }
    /** @brief Ends it without its handler. @return 0 or -1 */
    int cancel() const noexcept { return ombrel_http_call_cancel(get()); }
};

/** Owns an HTTP client of a loop. */
class http_client : public owner<&ombrel_close_http_client> {
public:
    using owner::owner;
    /** @brief A client. @param base its loop, which outlives it @param options the settings; null for the
     * defaults
     * @param from the caller @return it; nothing on failure */
    static http_client open(event_base_ref base, const ombrel_http_client_options_t* options = nullptr,
                            caller from = caller::current()) noexcept {
        return http_client(ombrel_open_http_client_tag(base.get(), options, from.function, from.line));
    }
    /** @brief Begins to get. @param uri "http://..." @param callable called as `callable(ombrel::http_call)`
     * at the end; it is not owned, and lives until then or until the client or the call is ended @return the
     * call; none on failure */
    template<class F>
    http_call get_uri(c_text uri, F& callable) const noexcept {
        return http_call(ombrel_http_client_get(get(), uri.get(), &call<F>, &callable));
    }

private:
    template<class F>
    static int call(ombrel_http_call_t* ended, void* context) noexcept {
        return detail::answer_of(*static_cast<F*>(context), http_call(ended));
    }
};

} // namespace ombrel

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#endif
