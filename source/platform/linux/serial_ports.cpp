#include "platform/serial.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include "platform/fault.h"

namespace ombrel::platform {

struct serial_walk {
    DIR* folder; ///< null where the host has no such list
};

namespace {

constexpr char list_of_terminals[] = "/sys/class/tty";

/// A path that is put together in place; one that does not fit is empty, which nothing is found by.
class short_path {
public:
    short_path& operator<<(const char* text) {
        const size_t size = strlen(text);
        if (size_ + size >= sizeof text_) {
            cut(0);
            return *this;
        }
        memcpy(text_ + size_, text, size + 1);
        size_ += size;
        return *this;
    }

    void cut(size_t size) {
        size_ = size;
        text_[size] = '\0';
    }

    /// False at the top.
    bool go_up() {
        const char* const slash = strrchr(text_, '/');
        if (slash == nullptr || slash == text_)
            return false;
        cut(static_cast<size_t>(slash - text_));
        return true;
    }

    bool make_real() {
        char real[PATH_MAX];
        if (realpath(text_, real) == nullptr)
            return false;
        cut(0);
        *this << real;
        return size_ > 0;
    }

    const char* text() const { return text_; }
    size_t size() const { return size_; }

private:
    char text_[PATH_MAX] = "";
    size_t size_ = 0;
};

/// The first line of one of the small files there; empty when there is none. Control characters, which
/// devices may have in their names, become spaces.
template<size_t room>
bool read_attribute(short_path& folder, const char* name, char (&text)[room]) {
    const size_t size = folder.size();
    folder << "/" << name;
    const int descriptor = open(folder.text(), O_RDONLY | O_CLOEXEC);
    folder.cut(size);
    const ssize_t bytes = descriptor >= 0 ? read(descriptor, text, room - 1) : 0;
    if (descriptor >= 0)
        close(descriptor);
    text[std::max<ssize_t>(bytes, 0)] = '\0';
    text[strcspn(text, "\n")] = '\0';
    std::replace_if(
        text, text + strlen(text), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, ' ');
    return text[0] != '\0';
}

template<size_t room>
bool read_driver(short_path& folder, char (&name)[room]) {
    char target[PATH_MAX];
    const size_t size = folder.size();
    folder << "/driver";
    const ssize_t bytes = readlink(folder.text(), target, sizeof target - 1);
    folder.cut(size);
    if (bytes <= 0)
        return false;
    target[bytes] = '\0';
    const char* const slash = strrchr(target, '/');
    const char* const last = slash != nullptr ? slash + 1 : target;
    // The layers that the system puts between a port and its device.
    if (strcmp(last, "port") == 0 || strcmp(last, "ctrl") == 0 || strlen(last) >= room)
        return false;
    memcpy(name, last, strlen(last) + 1);
    return true;
}

int read_number(short_path& folder, const char* name) {
    char text[16];
    return read_attribute(folder, name, text) ? static_cast<int>(strtol(text, nullptr, 16)) : -1;
}

template<size_t room>
void append(char (&text)[room], const char* more) {
    const size_t size = strlen(text);
    const size_t fits = std::min(strlen(more), room - 1 - size);
    memcpy(text + size, more, fits);
    text[size + fits] = '\0';
}

void describe_usb(short_path& device, serial_description& port) {
    port.vendor = read_number(device, "idVendor");
    port.product = read_number(device, "idProduct");
    read_attribute(device, "serial", port.serial);
    char maker[96], product[128];
    if (read_attribute(device, "manufacturer", maker))
        append(port.text, maker);
    if (read_attribute(device, "product", product)) {
        append(port.text, port.text[0] != '\0' ? " " : "");
        append(port.text, product);
    }
}

/// Goes from the port up to what it is a part of.
void describe(short_path& device, serial_description& port) {
    constexpr int most_levels = 8;
    for (int level = 0; level < most_levels; level++) {
        if (port.driver[0] == '\0')
            read_driver(device, port.driver);
        if (read_number(device, "idVendor") >= 0) {
            describe_usb(device, port);
            break;
        }
        if (!device.go_up() || strcmp(device.text(), "/sys/devices") == 0)
            break;
    }
    if (port.text[0] == '\0')
        append(port.text, port.driver[0] != '\0' ? port.driver : "serial port");
}

/// Ports that a machine could have but has not have the type 0; those of other drivers have no type.
bool is_missing(short_path& entry) {
    char type[16];
    return read_attribute(entry, "type", type) && strcmp(type, "0") == 0;
}

bool find(const char* name, serial_description& port) {
    short_path entry;
    entry << list_of_terminals << "/" << name;
    if (name[0] == '.' || is_missing(entry))
        return false;
    entry << "/device";
    if (!entry.make_real())
        return false;
    port = {};
    port.vendor = port.product = -1;
    append(port.name, "/dev/");
    append(port.name, name);
    describe(entry, port);
    return true;
}

} // namespace

serial_walk* open_serial_walk() {
    auto* walk = static_cast<serial_walk*>(malloc(sizeof(serial_walk)));
    if (walk == nullptr)
        return nullptr;
    walk->folder = opendir(list_of_terminals);
    if (walk->folder != nullptr || errno == ENOENT)
        return walk;
    const fault_keeper kept;
    free(walk);
    return nullptr;
}

void close_serial_walk(serial_walk* walk) {
    if (walk->folder != nullptr)
        closedir(walk->folder);
    free(walk);
}

int next_serial_port(serial_walk& walk, serial_description& port) {
    for (;;) {
        errno = 0;
        const dirent* entry = walk.folder != nullptr ? readdir(walk.folder) : nullptr;
        if (entry == nullptr)
            return errno == 0 ? 0 : -1;
        const fault_keeper kept;
        if (find(entry->d_name, port))
            return 1;
    }
}

} // namespace ombrel::platform
