#include <ombrel/digest.h>

#include <ombrel/digest_list.h>
#include <ombrel/file.h>
#include <ombrel/progress.h>
#include <ombrel/string.h>
#include <ombrel/terminal.h>
#include <ombrel/time.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "command/shown_name.h"

namespace ombrel::command {

namespace {

struct digest_choice {
    const ombrel_digest_algorithm_t* algorithm = nullptr; ///< null: as the digits of a list tell
    int is_check = 0, is_quiet = 0;
};

int choose_algorithm(const ombrel_argument_option_t* /* option */, const char* name, void* algorithm) {
    const ombrel_digest_algorithm_t* const found = ombrel_find_digest_algorithm(name);
    if (found == nullptr)
        return -1;
    *static_cast<const ombrel_digest_algorithm_t**>(algorithm) = found;
    return 0;
}

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'a',
     .m_name = "algorithm",
     .m_kind = def_ombrel_argument_call,
     .m_offset = offsetof(digest_choice, algorithm),
     .m_value = "NAME",
     .m_help = "sha256, sha1, md5, crc32, crc64, crc16-ibm, crc16-ccitt\n"
               "(default sha256; with -c as many digits as the list has)",
     .m_choices = "sha256|sha1|md5|crc32|crc64|crc16-ibm|crc16-ccitt",
     .m_handler = choose_algorithm},
    {.m_letter = 'c',
     .m_name = "check",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(digest_choice, is_check),
     .m_help = "check the files that the lists name"},
    {.m_letter = 'q',
     .m_name = "quiet",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(digest_choice, is_quiet),
     .m_help = "with -c, print nothing for files that match"},
    program_help_option,
    version_option,
    manual_option,
    completion_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "digest",
    .m_operands = "[FILE...]",
    .m_summary = "Prints the digests or checksums of files, or checks the files of lists of digests.",
    .m_notes =
        "Without a file, or for \"-\", it reads standard input. Lists are those of sha256sum, sha1sum and "
        "md5sum, in both directions; those with tags are read. On a terminal, files that take their time "
        "show a progress bar.",
    .m_options = options};

/// How much of a file has been read, shown where somebody sees it.
class read_bar {
public:
    read_bar(const char* name, bool is_shown) {
        ombrel_file_info_t info;
        const bool is_file = is_shown && strcmp(name, "-") != 0;
        if (is_file && ombrel_get_file_info(name, 0, &info) == 0 && info.m_size > 0)
            total_ = static_cast<uint64_t>(info.m_size);
    }
    ~read_bar() {
        if (is_drawn_)
            ombrel_puts("\r\033[K");
        if (is_drawn_)
            ombrel_puts(nullptr);
    }
    read_bar(const read_bar&) = delete;
    read_bar& operator=(const read_bar&) = delete;

    void advance(size_t size) {
        constexpr uint64_t interval_ms = 200;
        done_ += size;
        if (total_ == 0 || ombrel_time_stamp_msec() - drawn_at_ < interval_ms)
            return;
        drawn_at_ = ombrel_time_stamp_msec();
        is_drawn_ = true;
        ombrel_progress_bar(done_, total_, nullptr, nullptr, " %llu MiB",
                            static_cast<unsigned long long>(done_ >> 20));
    }

private:
    uint64_t total_ = 0; ///< 0 where it is not known or nobody looks
    uint64_t done_ = 0;
    uint64_t drawn_at_ = ombrel_time_stamp_msec();
    bool is_drawn_ = false;
};

class digest_work {
public:
    digest_work(const char* name, const digest_choice& choice)
        : name_(name), choice_(choice), shows_bars_(ombrel_isatty(1) != 0) {}

    bool print(const char* file) const {
        const ombrel_digest_algorithm_t* const algorithm =
            choice_.algorithm != nullptr ? choice_.algorithm : ombrel_find_digest_algorithm("sha256");
        ombrel_digest_t digest;
        if (!read(file, algorithm, digest))
            return false;
        const heap_ptr<char> line(ombrel_alloc_digest_line(digest.m_text, file));
        if (line)
            ombrel_printf("%s\n", line.get());
        else
            complain(name_, file, fault_text(fault_code::no_memory));
        return static_cast<bool>(line);
    }

    bool check(const char* list);

private:
    struct tally {
        unsigned long entries, malformed, unreadable, mismatched;
    };

    bool read(const char* file, const ombrel_digest_algorithm_t* algorithm, ombrel_digest_t& digest) const {
        read_bar bar(file, shows_bars_);
        ombrel_init_digest(&digest, algorithm);
        const bool is_read = read_input(name_, file, [&](const char* bytes, size_t size) {
            ombrel_digest_push(&digest, bytes, size);
            bar.advance(size);
            return true;
        });
        ombrel_digest_result(&digest, nullptr);
        return is_read;
    }

    static int on_line(const ombrel_digest_entry_t* entry, void* context) {
        auto& self = *static_cast<digest_work*>(context);
        const ombrel_digest_algorithm_t* algorithm = self.choice_.algorithm;
        if (entry != nullptr && algorithm == nullptr)
            algorithm = ombrel_find_digest_algorithm_by_size(entry->m_digit_count / 2);
        if (entry != nullptr && algorithm != nullptr && 2 * algorithm->m_size == entry->m_digit_count)
            self.check_entry(*algorithm, *entry);
        else
            self.tally_.malformed++;
        return 0;
    }

    void check_entry(const ombrel_digest_algorithm_t& algorithm, const ombrel_digest_entry_t& entry) {
        ombrel_digest_t digest;
        tally_.entries++;
        if (!read(entry.m_name, &algorithm, digest)) {
            tally_.unreadable++;
            print_outcome(entry.m_name, "FAILED open or read");
        } else if (ombrel_strcasecmp(digest.m_text, entry.m_digits) != 0) {
            tally_.mismatched++;
            print_outcome(entry.m_name, "FAILED");
        } else if (choice_.is_quiet == 0) {
            print_outcome(entry.m_name, "OK");
        }
    }

    // Other names have a backslash before the line, as in a list.
    static void print_outcome(const char* file, const char* outcome) {
        if (is_plain_text(file)) {
            ombrel_printf("%s: %s\n", file, outcome);
            return;
        }
        ombrel_puts("\\");
        show_name(file, [](const char* bytes, size_t size) {
            ombrel_printf("%.*s", static_cast<int>(size), bytes);
        });
        ombrel_printf(": %s\n", outcome);
    }

    void warn(unsigned long count, const char* one, const char* several) const {
        if (count == 1)
            ombrel_error_printf("%s: WARNING: 1 %s\n", name_, one);
        else if (count > 1)
            ombrel_error_printf("%s: WARNING: %lu %s\n", name_, count, several);
    }

    bool report(const char* list) const {
        if (tally_.entries == 0) {
            complain(name_, list, "no properly formatted checksum lines found");
            return false;
        }
        ombrel_puts(nullptr);
        warn(tally_.malformed, "line is improperly formatted", "lines are improperly formatted");
        warn(tally_.unreadable, "listed file could not be read", "listed files could not be read");
        warn(tally_.mismatched, "computed checksum did NOT match", "computed checksums did NOT match");
        return tally_.unreadable + tally_.mismatched == 0;
    }

    const char* name_;
    const digest_choice& choice_;
    bool shows_bars_;
    tally tally_{};
};

struct list_closer {
    ombrel_digest_list_t* list;
    ~list_closer() { ombrel_close_digest_list(list); }
};

bool digest_work::check(const char* list) {
    tally_ = {};
    const list_closer reader{ombrel_open_digest_list(on_line, this)};
    if (reader.list == nullptr) {
        complain(name_, list, fault_text(fault_code::no_memory));
        return false;
    }
    const bool is_read = read_input(name_, list, [&](const char* bytes, size_t size) {
        ombrel_push_digest_list(reader.list, bytes, size);
        return true;
    });
    if (!is_read)
        return false;
    ombrel_push_digest_list(reader.list, nullptr, 0);
    return report(list);
}

int run_digest(int argc, char** argv) {
    const ombrel_argument_table_t named = table_of_call(digest_command, argv[0]);
    const command_arguments<digest_choice> arguments(named, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    digest_work work(named.m_name, *arguments);
    return for_each_input(arguments, [&](const char* file) {
        return arguments->is_check != 0 ? work.check(file) : work.print(file);
    });
}

} // namespace

constexpr own_command digest_command = command_of(table, run_digest, nullptr, "ombrel_digest");

} // namespace ombrel::command
