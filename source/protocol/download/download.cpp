// The download of a file: its sources in turn, until one gives all of it.
#include <ombrel/download.h>

#include <algorithm>
#include <cstring>

#include <ombrel/fault.h>
#include <ombrel/printf.h>
#include <ombrel/random.h>

#include "platform/thread.h"
#include "protocol/download/download_part.h"
#include "protocol/download/download_source.h"
#include "text/slice.h"
#include "text/uri_scheme.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

using std::string_view;

constexpr call_site here{"ombrel_download_file", __LINE__};

enum class outcome {
    done,
    later,   ///< the source may be asked again
    refused, ///< the source is not asked again
    over,    ///< no source would do better
};

class download {
public:
    download(const char* uri, const char* path, const ombrel_download_options_t& options,
             ombrel_download_result_t& result)
        : uri_(uri), options_(options), result_(result), watch_(options), part_(path, options, here) {}

    bool run();
    /// What the call returns when it has failed.
    int result() const { return watch_.result() != 0 ? watch_.result() : -1; }

private:
    const char* source(int index) const { return index == 0 ? uri_ : options_.m_mirrors[index - 1]; }
    bool count_sources();
    bool find_digest();
    bool fetch_list();
    bool prepare();
    bool run_rounds();
    outcome run_round();
    outcome ask(int index);
    outcome ask_once(int index, bool& wants_anew);
    outcome finish_transfer(source_end end, bool& wants_anew);
    outcome check_whole(bool& wants_anew);
    outcome store();
    bool pause();

    bool begin(const source_answer& answer);
    bool take(const void* data, size_t size);
    bool exceeds(int64_t size) const { return options_.m_size_limit >= 0 && size > options_.m_size_limit; }
    bool refuse_size();

    bool fail(int reason, fault_code code, string_view text, int peer_code = 0);
    bool fail_target();
    bool fail_by_watch();

    const char* uri_;
    const ombrel_download_options_t& options_;
    ombrel_download_result_t& result_;
    download_watch watch_;
    download_part part_;
    int source_count_ = 0;
    heap_ptr<bool> refused_; ///< which sources are not asked again
    int index_ = 0;
    size_t fruitless_ = 0; ///< rounds in a row that brought no byte
    int round_ = 0;
    int wait_ms_ = 0; ///< how long the sources want to be left alone
    int64_t total_ = -1;
    // Of the transfer that is under way.
    bool is_size_refused_ = false, is_target_failed_ = false, is_stale_ = false;
};

bool download::fail(int reason, fault_code code, string_view text, int peer_code) {
    transfer_error error;
    error.set(code, text, peer_code);
    result_.m_reason = reason;
    result_.m_error.m_fault = static_cast<int>(code);
    result_.m_error.m_peer_code = peer_code;
    ombrel_snprintf(result_.m_error.m_text, sizeof result_.m_error.m_text, "%s", error.text());
    return false;
}

bool download::fail_target() {
    const fault why = last_fault();
    const int reason =
        why.code == fault_code::busy ? def_ombrel_download_reason_busy : def_ombrel_download_reason_target;
    return fail(reason, why.code,
                why.code == fault_code::busy ? "another download of it is under way" : fault_text(why));
}

bool download::fail_by_watch() {
    if (watch_.reason() == def_ombrel_download_reason_time)
        return fail(watch_.reason(), fault_code::timed_out, "the time ran out");
    return fail(watch_.reason(), fault_code::interrupted, "it was ended");
}

bool download::refuse_size() {
    is_size_refused_ = true;
    return false;
}

bool download::begin(const source_answer& answer) {
    const char* const uri = source(index_);
    const bool goes_on = answer.offset > 0;
    if (exceeds(answer.resource.size))
        return refuse_size();
    is_stale_ = goes_on && (answer.offset != part_.size() || !part_.is_beginning_of(uri, answer.resource));
    if (is_stale_)
        return false;
    total_ = answer.resource.size;
    watch_.state().m_total = total_;
    if (goes_on)
        part_.go_on(answer.resource);
    else if (!part_.begin(uri, answer.resource))
        is_target_failed_ = !fail_target();
    watch_.state().m_done = part_.size();
    watch_.state().m_resumed = part_.resumed();
    return !is_target_failed_;
}

bool download::take(const void* data, size_t size) {
    if (exceeds(part_.size() + static_cast<int64_t>(size)))
        return refuse_size();
    if (!part_.append(data, size))
        is_target_failed_ = !fail_target();
    watch_.state().m_done = part_.size();
    return !is_target_failed_;
}

outcome download::store() {
    if (!watch_.enter(def_ombrel_download_storing))
        return fail_by_watch(), outcome::over;
    result_.m_done = part_.size();
    result_.m_resumed = part_.resumed();
    return part_.commit() ? outcome::done : (fail_target(), outcome::over);
}

/// A digest that is another says nothing of the source when earlier bytes are in it.
outcome download::check_whole(bool& wants_anew) {
    char text[def_ombrel_transfer_error_text_size];
    if (total_ >= 0 && part_.size() != total_) {
        const char* const format =
            part_.size() < total_ ? "broken off at %lld of %lld bytes" : "%lld bytes came in place of %lld";
        ombrel_snprintf(text, sizeof text, format, static_cast<long long>(part_.size()),
                        static_cast<long long>(total_));
        wants_anew = part_.size() > total_ && part_.is_mixed();
        return fail(def_ombrel_download_reason_broken_off, fault_code::reset, text), outcome::later;
    }
    ombrel_snprintf(result_.m_digest, sizeof result_.m_digest, "%s", part_.digest());
    if (strcmp(result_.m_digest, result_.m_wanted_digest) == 0)
        return store();
    wants_anew = part_.is_mixed();
    ombrel_snprintf(text, sizeof text, "the %s digest is another than the one wanted", result_.m_algorithm);
    fail(def_ombrel_download_reason_digest, fault_code::violation, text);
    return part_.clear() ? outcome::refused : (fail_target(), outcome::over);
}

outcome download::finish_transfer(source_end end, bool& wants_anew) {
    const auto failed = end == source_end::refused ? outcome::refused : outcome::later;
    if (is_target_failed_)
        return outcome::over;
    if (is_size_refused_) {
        char text[def_ombrel_transfer_error_text_size];
        ombrel_snprintf(text, sizeof text, "larger than the limit of %lld bytes",
                        static_cast<long long>(options_.m_size_limit));
        fail(def_ombrel_download_reason_too_large, fault_code::too_large, text);
        return part_.clear() ? outcome::refused : (fail_target(), outcome::over);
    }
    wants_anew = is_stale_ || end == source_end::anew;
    if (wants_anew)
        return fail(def_ombrel_download_reason_source, fault_code::violation,
                    "the server does not go on where it was asked to"),
               outcome::later;
    if (!watch_.goes_on())
        return fail_by_watch(), outcome::over;
    return end == source_end::whole ? check_whole(wants_anew) : failed;
}

bool is_break_off(fault_code code) {
    return code == fault_code::reset || code == fault_code::closed || code == fault_code::violation;
}

outcome download::ask_once(int index, bool& wants_anew) {
    const char* const uri = source(index);
    source_request request{options_, uri};
    if (part_.can_go_on(uri)) {
        if (!part_.catch_up(watch_))
            return watch_.goes_on() ? fail_target() : fail_by_watch(), outcome::over;
        request.offset = part_.size();
        request.known = &part_.resource();
    }
    is_size_refused_ = is_target_failed_ = is_stale_ = false;
    total_ = -1;
    const source_sink sink = {
        [](void* self, const source_answer& answer) { return static_cast<download*>(self)->begin(answer); },
        [](void* self, const void* data, size_t size) {
            return static_cast<download*>(self)->take(data, size);
        },
        this};
    transfer_error error;
    result_.m_attempts++;
    const source_end end = fetch_source({request, sink, watch_, error, wait_ms_});
    result_.m_total = total_;
    if (error && total_ > part_.size() && is_break_off(error.fault()))
        return check_whole(wants_anew);
    if (error)
        fail(def_ombrel_download_reason_source, error.fault(), error.text(), error.peer_code());
    return finish_transfer(end, wants_anew);
}

outcome download::ask(int index) {
    constexpr int most_openings = 3; // going on, anew, and a server that still goes on
    index_ = index;
    watch_.state().m_source = result_.m_source = index;
    watch_.state().m_uri = source(index);
    outcome came = outcome::later;
    bool wants_anew = true;
    for (int i = 0; i < most_openings && wants_anew; i++) {
        wants_anew = false;
        came = ask_once(index, wants_anew);
        if (wants_anew && !part_.clear())
            return fail_target(), outcome::over;
    }
    return came;
}

outcome download::run_round() {
    outcome best = outcome::refused;
    for (int i = 0; i < source_count_; i++) {
        if (refused_.get()[i])
            continue;
        const outcome came = ask(i);
        if (came == outcome::done || came == outcome::over)
            return came;
        refused_.get()[i] = came == outcome::refused;
        best = came == outcome::later ? came : best;
    }
    return best;
}

/// Milliseconds of a pause, shortened by up to a half at random.
int shortened(int64_t pause) {
    uint32_t dice = 0;
    ombrel_get_random_bytes(&dice, sizeof dice);
    const auto half = static_cast<uint64_t>(pause / 2);
    return static_cast<int>(static_cast<uint64_t>(pause) - half * dice / UINT32_MAX);
}

/// As long as bytes come pauses stay short.
bool download::pause() {
    const int64_t longest = std::max(options_.m_longest_pause_ms, options_.m_first_pause_ms);
    int64_t length = options_.m_first_pause_ms;
    for (size_t i = 1; i < fruitless_ && length < longest; i++)
        length *= options_.m_pause_factor;
    const int pause_ms =
        std::max(shortened(std::min(length, longest)), std::min(wait_ms_, static_cast<int>(longest)));
    wait_ms_ = 0;
    watch_.state().m_pause_ms = pause_ms;
    watch_.state().m_round = round_ = std::min(round_, INT_MAX - 1) + 1;
    const deadline end(pause_ms);
    bool goes_on = watch_.enter(def_ombrel_download_pausing);
    while (goes_on && !end.passed()) {
        platform::sleep_milliseconds(static_cast<uint32_t>(std::min(end.left(), download_watch::interval)));
        goes_on = watch_.goes_on();
    }
    return goes_on || fail_by_watch();
}

bool download::run_rounds() {
    for (size_t round = 0;; round++) {
        const int64_t before = part_.size();
        const outcome came = run_round();
        if (came != outcome::later)
            return came == outcome::done;
        fruitless_ = part_.size() > before ? 0 : fruitless_ + 1;
        if (round == options_.m_retry_limit || !pause())
            return false;
    }
}

bool download::count_sources() {
    for (source_count_ = 1;
         options_.m_mirrors != nullptr && options_.m_mirrors[source_count_ - 1] != nullptr;)
        source_count_++;
    for (int i = 0; i < source_count_; i++)
        if (!is_allowed(options_, source(i)))
            return fail(def_ombrel_download_reason_argument, fault_code::invalid,
                        "the scheme is not allowed");
    refused_.reset(static_cast<bool*>(
        ombrel_calloc_tag(static_cast<size_t>(source_count_), sizeof(bool), here.tag, here.line)));
    return refused_ || fail(def_ombrel_download_reason_target, fault_code::no_memory, "no memory");
}

string_view last_part(const char* uri) {
    string_view path = uri;
    if (uri_scheme_size(path) > 0)
        path = slice(path, 0, path.find_first_of("?#"));
    return slice(path, path.find_last_of("/\\") + 1);
}

struct list_intake {
    digest_search& search;
    int64_t size;
};

bool take_list(void* context, const void* data, size_t size) {
    auto& intake = *static_cast<list_intake*>(context);
    intake.size += static_cast<int64_t>(size);
    intake.search.push(data, size);
    return intake.size <= def_ombrel_download_list_limit;
}

bool begin_list(void* /* context */, const source_answer& answer) {
    return answer.resource.size <= def_ombrel_download_list_limit;
}

bool download::fetch_list() {
    digest_search search(options_.m_digest_name != nullptr ? string_view(options_.m_digest_name)
                                                           : last_part(uri_));
    if (!search.is_ready())
        return fail(def_ombrel_download_reason_list, fault_code::no_memory, "no memory");
    list_intake intake{search, 0};
    const source_request request{options_, options_.m_digest_list};
    transfer_error error;
    const source_end end = fetch_source({request, {begin_list, take_list, &intake}, watch_, error, wait_ms_});
    if (!watch_.goes_on())
        return fail_by_watch();
    if (error)
        return fail(def_ombrel_download_reason_list, error.fault(), error.text(), error.peer_code());
    if (end != source_end::whole)
        return fail(def_ombrel_download_reason_list, fault_code::too_large,
                    "the list of digests is too large");
    const wanted_digest& found = search.end();
    if (found.algorithm == nullptr)
        return fail(def_ombrel_download_reason_list, fault_code::not_found,
                    "the list of digests has no line for it");
    part_.expect(found);
    result_.m_algorithm = found.algorithm->m_name;
    memcpy(result_.m_wanted_digest, found.text, sizeof found.text);
    return true;
}

bool download::find_digest() {
    if (options_.m_digest_list != nullptr)
        return fetch_list();
    if (options_.m_digest == nullptr)
        return true;
    wanted_digest wanted;
    parse_wanted_digest(options_.m_digest, wanted);
    part_.expect(wanted);
    result_.m_algorithm = wanted.algorithm->m_name;
    memcpy(result_.m_wanted_digest, wanted.text, sizeof wanted.text);
    return true;
}

bool is_digest(const char* text) {
    wanted_digest wanted;
    return text == nullptr || parse_wanted_digest(text, wanted);
}

/// What is wrong with the arguments; null when nothing is.
const char* mistake_in(const char* uri, const char* path, const ombrel_download_options_t& options) {
    constexpr uint32_t known =
        def_ombrel_download_no_resume | def_ombrel_download_no_replace | def_ombrel_download_no_sync;
    const bool makes_sense = uri != nullptr && *uri != '\0' && path != nullptr && *path != '\0' &&
                             (options.m_flags & ~known) == 0 && options.m_first_pause_ms >= 1 &&
                             options.m_pause_factor >= 1 && (options.m_mode & ~07777u) == 0;
    if (!makes_sense)
        return "an argument makes no sense";
    if (options.m_digest != nullptr && options.m_digest_list != nullptr)
        return "a digest and a list of digests exclude each other";
    return is_digest(options.m_digest) ? nullptr : "the digest is no sha256:, sha1: or md5: with its digits";
}

bool download::prepare() {
    if (!count_sources())
        return false;
    if (!part_.open())
        return fail_target();
    watch_.state().m_done = part_.size();
    return find_digest();
}

bool download::run() {
    const bool is_done = prepare() && run_rounds();
    if (is_done) {
        result_.m_reason = def_ombrel_download_reason_none;
        result_.m_error = {};
        return true;
    }
    result_.m_done = part_.size();
    result_.m_resumed = part_.resumed();
    return false;
}

} // namespace

int ombrel_init_download_options(ombrel_download_options_t* options) {
    if (options == nullptr)
        return leave_fault(fault_code::invalid), -1;
    *options = {};
    options->m_size_limit = def_ombrel_download_size_limit;
    options->m_mode = 0666;
    options->m_redirect_limit = 10;
    options->m_retry_limit = 3;
    options->m_first_pause_ms = 500;
    options->m_pause_factor = 2;
    options->m_longest_pause_ms = 30'000;
    options->m_connect_ms = 30'000;
    options->m_progress_ms = 30'000;
    options->m_whole_ms = -1;
    return 0;
}

int ombrel_download_file(const char* uri, const char* path, const ombrel_download_options_t* options,
                         ombrel_download_result_t* result) {
    ombrel_download_options_t chosen;
    ombrel_download_result_t own;
    ombrel_download_result_t& came = result != nullptr ? *result : own;
    came = {};
    came.m_total = -1;
    ombrel_init_download_options(&chosen);
    chosen = options != nullptr ? *options : chosen;
    if (const char* const mistake = mistake_in(uri, path, chosen)) {
        came.m_reason = def_ombrel_download_reason_argument;
        came.m_error.m_fault = def_ombrel_fault_invalid;
        ombrel_snprintf(came.m_error.m_text, sizeof came.m_error.m_text, "%s", mistake);
        return leave_fault(fault_code::invalid), -1;
    }
    int outcome = 0;
    {
        download job(uri, path, chosen, came);
        outcome = job.run() ? 0 : job.result();
    }
    if (outcome != 0)
        leave_fault(static_cast<fault_code>(came.m_error.m_fault));
    return outcome;
}
