// What has come of a file so far: kept beside the target, locked, and put in its place when it is whole.
#pragma once

#include <ombrel/digest.h>
#include <ombrel/download.h>

#include "protocol/download/download_digest.h"
#include "protocol/download/download_info.h"
#include "protocol/download/download_watch.h"
#include "system/file/file_store.h"

namespace ombrel::protocol {

class download_part {
public:
    download_part(const char* target, const ombrel_download_options_t& options, call_site caller)
        : target_(target), options_(options), caller_(caller) {}
    ~download_part();
    download_part(const download_part&) = delete;
    download_part& operator=(const download_part&) = delete;

    /// Opens or makes it, for this process alone; what an earlier call left is there then. False leaves the
    /// fault: busy when another download has it.
    bool open();

    /// Bytes that are there, and of them those of an earlier call.
    int64_t size() const { return size_; }
    int64_t resumed() const { return resumed_; }
    const resource_info& resource() const { return info_.resource; }

    /// From now on the whole must have this digest.
    void expect(const wanted_digest& wanted);
    bool is_digest_wanted() const { return wanted_.algorithm != nullptr; }

    /// Whether the bytes may be gone on with from a source.
    bool can_go_on(const char* uri) const;
    /// Whether they are the beginning of what the source has now.
    bool is_beginning_of(const char* uri, const resource_info& resource) const;

    /// Reads what the digest has not seen yet. False leaves the fault, or the watch has ended it.
    bool catch_up(download_watch& watch);

    /// Begins anew with the bytes of a source, or goes on with them.
    bool begin(const char* uri, const resource_info& resource);
    void go_on(const resource_info& resource);
    bool append(const void* data, size_t size);
    /// Drops all that has come.
    bool clear();

    /// Whether bytes of several answers are in it.
    bool is_mixed() const { return is_mixed_; }

    /// The digest of the whole, in lower case; empty when none was wanted. Once.
    const char* digest();

    /// Puts it in the target's place. False leaves the fault.
    bool commit();

    /// Ends it: what can be gone on with is kept, the rest is gone.
    void close();

private:
    bool make_names();
    bool open_once();
    bool is_ours() const;
    bool read_info();
    bool store_info() const;
    bool is_kept() const;
    void forget();

    const char* target_;
    const ombrel_download_options_t& options_;
    call_site caller_;
    system::stored_file stored_;
    system::quiet_ptr<char> path_, info_path_;
    int descriptor_ = -1;
    int64_t size_ = 0, resumed_ = 0, hashed_ = 0;
    bool is_mixed_ = false;
    part_info info_;
    wanted_digest wanted_;
    ombrel_digest_t digest_{};
};

} // namespace ombrel::protocol
