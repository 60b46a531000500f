#include "protocol/ftp_server/ftp_path.h"

#include <algorithm>

#include "text/slice.h"

namespace ombrel::protocol {

bool ftp_path::resolve(std::string_view from, std::string_view name) {
    size_ = 0;
    const bool is_absolute = starts_with(name, "/");
    return (is_absolute || follow(from)) && follow(name);
}

bool ftp_path::follow(std::string_view names) {
    while (!names.empty()) {
        const size_t end = std::min(names.find('/'), names.size());
        if (!enter(slice(names, 0, end)))
            return false;
        names = slice(names, end + 1);
    }
    return true;
}

bool ftp_path::enter(std::string_view name) {
    if (name.empty() || name == ".")
        return true;
    if (name == "..")
        return rise(), true;
    if (name.size() + 1 > longest - size_)
        return false;
    text_[size_] = '/';
    *put_text(text_ + size_ + 1, name) = '\0';
    size_ += name.size() + 1;
    return true;
}

void ftp_path::rise() {
    size_ -= is_root() ? 0 : name().size() + 1;
    text_[size_] = '\0';
}

std::string_view ftp_path::name() const {
    const std::string_view all(text_, size_);
    return is_root() ? all : slice(all, all.rfind('/') + 1);
}

} // namespace ombrel::protocol
