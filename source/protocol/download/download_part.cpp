#include "protocol/download/download_part.h"

#include <algorithm>
#include <cstring>

#include "core/file_blocks.h"
#include "platform/file_info.h"
#include "platform/file_lock.h"
#include "platform/file_names.h"

namespace ombrel::protocol {

using system::has;
using system::quiet_ptr;
using system::refuse;

namespace {

/// Far behind the end of any file, as some hosts keep locked bytes from being read and written.
constexpr platform::file_region lock_region{int64_t{1} << 62, 1};

constexpr int most_openings = 100;

} // namespace

download_part::~download_part() {
    close();
}

bool download_part::make_names() {
    const uint32_t flags =
        has(options_.m_flags, def_ombrel_download_no_replace) ? def_ombrel_file_no_replace : 0;
    if (!system::find_stored_file({target_, flags, options_.m_mode}, caller_, stored_))
        return false;
    path_ =
        quiet_ptr<char>(system::joined_text(stored_.path.get(), def_ombrel_download_part_suffix, caller_));
    info_path_ = quiet_ptr<char>(
        path_ ? system::joined_text(path_.get(), def_ombrel_download_info_suffix, caller_) : nullptr);
    return static_cast<bool>(info_path_);
}

/// Whether what was opened still has the name, and no other: whoever had it before may have put it in the
/// target's place, or somebody may have laid it there for us.
bool download_part::is_ours() const {
    ombrel_file_info_t opened, named;
    return platform::get_file_info(descriptor_, opened) &&
           platform::get_file_info(path_.get(), platform::at_link::stay, named) &&
           opened.m_kind == def_ombrel_file_kind_regular && opened.m_links == 1 &&
           system::is_same_file(opened, named);
}

bool download_part::open_once() {
    constexpr uint32_t until_known = 0600;
    platform::file_access access;
    access.read = access.write = access.create = access.refuse_link = true;
    access.mode = stored_.is_there ? until_known : options_.m_mode;
    descriptor_ = platform::open_file(path_.get(), access);
    if (descriptor_ < 0)
        return false;
    if (platform::try_lock_region(descriptor_, lock_region))
        return true;
    const fault why = last_fault();
    platform::close_descriptor(std::exchange(descriptor_, -1));
    return refuse(why.code == fault_code::would_block ? fault_code::busy : why.code);
}

bool download_part::open() {
    if (!make_names())
        return false;
    for (int i = 0; i < most_openings; i++) {
        if (!open_once())
            return false;
        if (is_ours())
            return read_info();
        platform::close_descriptor(std::exchange(descriptor_, -1));
    }
    return refuse(fault_code::busy);
}

/// Bytes of which nothing is known are dropped.
bool download_part::read_info() {
    size_t text_size = 0;
    const int64_t size = platform::file_size(descriptor_);
    if (size < 0)
        return false;
    const quiet_ptr<char> text(static_cast<char*>(
        ombrel_alloc_load_file_tag(info_path_.get(), part_info_room, &text_size, caller_.tag, caller_.line)));
    const bool is_known = text && parse_part_info({text.get(), text_size}, info_) &&
                          !has(options_.m_flags, def_ombrel_download_no_resume) &&
                          (info_.resource.size < 0 || size <= info_.resource.size);
    size_ = resumed_ = is_known ? size : 0;
    is_mixed_ = size_ > 0;
    return is_known || clear();
}

bool download_part::clear() {
    size_ = resumed_ = hashed_ = 0;
    is_mixed_ = false;
    info_ = {};
    ombrel_init_digest(&digest_, wanted_.algorithm);
    return platform::set_file_size(descriptor_, 0);
}

void download_part::expect(const wanted_digest& wanted) {
    wanted_ = wanted;
    hashed_ = 0;
    ombrel_init_digest(&digest_, wanted_.algorithm);
}

bool download_part::can_go_on(const char* uri) const {
    part_info asked;
    set_source(asked, uri);
    const bool is_same_source = strcmp(asked.source, info_.source) == 0 && info_.resource.has_validator();
    return size_ > 0 && (is_same_source || is_digest_wanted());
}

bool download_part::is_beginning_of(const char* uri, const resource_info& resource) const {
    part_info asked;
    set_source(asked, uri);
    const resource_info& known = info_.resource;
    const bool is_same_source = strcmp(asked.source, info_.source) == 0;
    if (is_same_source && !known.agrees_with(resource))
        return false;
    const bool is_proven_later = is_digest_wanted() && known.size >= 0 && known.size == resource.size;
    return is_proven_later || (is_same_source && (known.has_validator() || is_digest_wanted()));
}

bool download_part::catch_up(download_watch& watch) {
    if (!is_digest_wanted() || hashed_ == size_)
        return true;
    const quiet_ptr<char> block(
        static_cast<char*>(ombrel_alloc_tag(file_block_size, caller_.tag, caller_.line)));
    if (!block)
        return refuse(fault_code::no_memory);
    bool goes_on = watch.enter(def_ombrel_download_reading);
    while (goes_on && hashed_ < size_) {
        const auto wanted = static_cast<size_t>(std::min<int64_t>(file_block_size, size_ - hashed_));
        const int got = platform::read_file_at(descriptor_, block.get(), wanted, hashed_);
        if (got <= 0)
            return got < 0 ? false : refuse(fault_code::input_output);
        ombrel_digest_push(&digest_, block.get(), static_cast<size_t>(got));
        hashed_ += got;
        goes_on = watch.goes_on();
    }
    return goes_on;
}

/// In one write to the file itself, so that a kill leaves nothing else behind: nothing has come yet that half
/// of it could tell something wrong of.
bool download_part::store_info() const {
    char text[part_info_room];
    const size_t size = format_part_info(info_, text);
    platform::file_access access;
    access.write = access.create = access.truncate = access.refuse_link = true;
    access.mode = options_.m_mode;
    const int descriptor = platform::open_file(info_path_.get(), access);
    if (descriptor < 0)
        return false;
    const bool is_written = system::write_whole(descriptor, text, size);
    const fault why = last_fault();
    return platform::close_file(descriptor) && (is_written || refuse(why.code));
}

/// In an order in which a kill at no moment leaves bytes beside what is known of others: they go first.
bool download_part::begin(const char* uri, const resource_info& resource) {
    if (!clear())
        return false;
    set_source(info_, uri);
    info_.resource = resource;
    if (resource.is_change_recent)
        info_.resource.changed.set({});
    return store_info() && platform::move_file(descriptor_, 0, platform::file_origin::start) == 0;
}

void download_part::go_on(const resource_info& resource) {
    is_mixed_ = true;
    if (info_.resource.size < 0)
        info_.resource.size = resource.size;
    platform::move_file(descriptor_, size_, platform::file_origin::start);
}

bool download_part::append(const void* data, size_t size) {
    if (!system::write_whole(descriptor_, data, size))
        return false;
    size_ += static_cast<int64_t>(size);
    if (is_digest_wanted()) {
        ombrel_digest_push(&digest_, data, size);
        hashed_ = size_;
    }
    return true;
}

const char* download_part::digest() {
    return is_digest_wanted() ? ombrel_digest_result(&digest_, nullptr) : "";
}

bool download_part::commit() {
    const bool syncs = !has(options_.m_flags, def_ombrel_download_no_sync);
    if (syncs && !platform::sync_file(descriptor_))
        return false;
    const bool no_replace = has(options_.m_flags, def_ombrel_download_no_replace);
    const uint32_t flags = no_replace ? def_ombrel_file_no_replace : 0;
    system::stored_file now;
    if (!system::find_stored_file({target_, flags, options_.m_mode}, caller_, now))
        return false;
    if (now.is_there && !system::keep_rights(descriptor_, now.info))
        return false;
    const auto target = no_replace ? platform::at_target::refuse : platform::at_target::replace;
    if (!platform::rename_file(path_.get(), stored_.path.get(), target))
        return false;
    platform::remove_file(info_path_.get());
    platform::close_descriptor(std::exchange(descriptor_, -1));
    return !syncs || system::sync_folder(path_.get());
}

bool download_part::is_kept() const {
    return size_ > 0 && !has(options_.m_flags, def_ombrel_download_no_resume) &&
           (info_.resource.has_validator() || is_digest_wanted());
}

void download_part::forget() {
    platform::remove_file(path_.get());
    platform::remove_file(info_path_.get());
}

/// The lock goes last.
void download_part::close() {
    const fault_keeper kept;
    if (descriptor_ < 0)
        return;
    if (!is_kept())
        forget();
    platform::close_descriptor(std::exchange(descriptor_, -1));
}

} // namespace ombrel::protocol
