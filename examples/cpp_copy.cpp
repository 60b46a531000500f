// Copies from any source that a context opens (a path, "tcp://host:port", "ftp://host/file", "pipe:command")
// to a file, and tells how much and what its digest is. Usage: cpp_copy SOURCE FILE
#include <array>

#include <ombrel_tuk.hpp>

namespace {

std::int64_t copy(const ombrel::ctx& from, const ombrel::ctx& to, ombrel::digest& digest) {
    std::array<char, 65536> bytes;
    std::int64_t copied = 0;
    while (const int size = from.check(from.read(bytes.data(), bytes.size()))) {
        std::string_view left(bytes.data(), static_cast<std::size_t>(size));
        digest.push(left);
        copied += size;
        while (!left.empty()) // a write may take less
            left.remove_prefix(static_cast<std::size_t>(to.check(to.write(left))));
    }
    to.check(to.sync());
    return copied;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        ombrel::print_error("usage: %s SOURCE FILE\n", argv[0]);
        return 2;
    }
    ombrel_init_network();
    try {
        const auto from = ombrel::check(ombrel::ctx::make());
        const auto to = ombrel::check(ombrel::ctx::make());
        from.check(from.open_stream(argv[1], "rb"));
        to.check(to.open_stream(argv[2], "wb"));
        ombrel::digest digest("sha256");
        const ombrel::timer since(std::chrono::hours(1));
        const std::int64_t copied = copy(from, to, digest);
        const auto took = std::chrono::hours(1) - since.left();
        // The formats are checked while this is compiled: "%d" for the count would be refused.
        ombrel::print("%s  %s\n%lld bytes in %.3f s\n", digest.result(), argv[2], ombrel::wide(copied),
                      std::chrono::duration<double>(took).count());
    } catch (const ombrel::error& error) {
        ombrel::print_error("%s: %s (%d)\n", argv[1], error.what(), error.code());
        return 1;
    }
    return 0;
}
