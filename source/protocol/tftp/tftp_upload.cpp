#include "protocol/tftp/tftp_upload.h"

#include <cstring>

#include <ombrel/file.h>
#include <ombrel/printf.h>
#include <ombrel/random.h>

#include "core/fault.h"
#include "platform/file.h"

namespace ombrel::protocol {

using system::confined_tree;

namespace {

/// Bytes of a path before its last name.
int directory_length(const char* path) {
    const char* const slash = strrchr(path, '/');
    return slash != nullptr ? static_cast<int>(slash - path) + 1 : 0;
}

bool refuse(fault_code fault) {
    leave_fault(fault);
    return false;
}

} // namespace

bool tftp_upload::may_store(const confined_tree& tree, const char* name, bool replace) {
    const int length = directory_length(name);
    if (!system::is_plain_name(name + length))
        return refuse(fault_code::access_denied);
    char directory[most_tftp_request];
    ombrel_snprintf(directory, sizeof directory, "%.*s", length, name);
    ombrel_file_info_t info;
    if (!tree.get_info(directory, info))
        return false;
    if (info.m_kind != def_ombrel_file_kind_directory)
        return refuse(fault_code::not_directory);
    if (!tree.get_info(name, info))
        return last_fault().code == fault_code::not_found;
    if (info.m_kind != def_ombrel_file_kind_regular)
        return refuse(fault_code::access_denied);
    return replace || refuse(fault_code::exists);
}

bool tftp_upload::begin(const confined_tree& tree, const char* name, bool replace) {
    uint64_t number;
    if (ombrel_get_random_bytes(&number, sizeof number) != 0)
        return false;
    ombrel_snprintf(name_, sizeof name_, "%s", name);
    ombrel_snprintf(part_, sizeof part_, "%.*s.tftp-%016llx", directory_length(name), name,
                    static_cast<unsigned long long>(number));
    tree_ = &tree;
    replace_ = replace;
    file_ = tree.open_file(part_, {.write = true, .create = true, .exclusive = true}, nullptr);
    return is_begun();
}

bool tftp_upload::write(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const int written = platform::write_file(file_, bytes.data(), bytes.size());
        if (written < 0)
            return false;
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
    return true;
}

bool tftp_upload::claim_name() const {
    const int claimed = tree_->open_file(name_, {.write = true, .create = true, .exclusive = true}, nullptr);
    return claimed != -1 && platform::close_file(claimed);
}

bool tftp_upload::commit() {
    const bool closed = platform::close_file(file_);
    file_ = -1;
    if (closed && (replace_ || claim_name())) {
        if (tree_->rename(part_, name_))
            return true;
        const fault_keeper keeper;
        if (!replace_)
            tree_->remove_file(name_);
    }
    const fault_keeper keeper;
    tree_->remove_file(part_);
    return false;
}

void tftp_upload::drop() {
    if (!is_begun())
        return;
    platform::close_file(file_);
    file_ = -1;
    tree_->remove_file(part_);
}

} // namespace ombrel::protocol
