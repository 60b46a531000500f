// A whole list in one block.
#include <cstring>
#include <new>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "protocol/ftp/ftp_list.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

constexpr size_t first_room = 4096;
/// What the texts of an entry take beyond the bytes of its line.
constexpr size_t entry_surplus = 9;

/// Lines one after the other, each with its terminator.
class kept_lines {
public:
    kept_lines(const char* function, unsigned long line) : function_(function), line_(line) {}

    bool add(std::string_view text) {
        if (text.size() + 1 > room_ - size_ && !grow(text.size() + 1))
            return false;
        *put_text(bytes_.get() + size_, text) = '\0';
        size_ += text.size() + 1;
        count_++;
        return true;
    }
    size_t count() const { return count_; }
    size_t size() const { return size_; }
    const char* begin() const { return bytes_.get(); }

private:
    /// The limits of a list keep the sum from overflowing.
    bool grow(size_t more) {
        const size_t wanted = std::max({first_room, 2 * room_, size_ + more});
        heap_ptr<char> larger(static_cast<char*>(ombrel_alloc_tag(wanted, function_, line_)));
        if (!larger)
            return false;
        if (size_ > 0)
            memcpy(larger.get(), bytes_.get(), size_);
        bytes_ = std::move(larger);
        room_ = wanted;
        return true;
    }

    const char* function_;
    unsigned long line_;
    heap_ptr<char> bytes_;
    size_t size_ = 0, room_ = 0, count_ = 0;
};

int keep_line(const ombrel_ftp_entry_t* entry, void* context) {
    return static_cast<kept_lines*>(context)->add(entry->m_line) ? 0 : 1;
}

/// The records, behind them the lines, behind those the texts.
ombrel_ftp_entry_t* make_block(const kept_lines& lines, const ftp_list_run& run, const char* function,
                               unsigned long line) {
    size_t records, texts, size;
    if (__builtin_mul_overflow(lines.count() + 1, sizeof(ombrel_ftp_entry_t), &records) ||
        __builtin_add_overflow(2 * lines.size(), entry_surplus * lines.count(), &texts) ||
        __builtin_add_overflow(records, texts, &size))
        return nullptr;
    auto* const entries = static_cast<ombrel_ftp_entry_t*>(ombrel_alloc_tag(size, function, line));
    if (entries == nullptr)
        return nullptr;
    char* const copies = reinterpret_cast<char*>(entries) + records;
    if (lines.size() > 0)
        memcpy(copies, lines.begin(), lines.size());
    char* room = copies + lines.size();
    const char* each = copies;
    for (size_t i = 0; i < lines.count(); i++) {
        const size_t length = strlen(each);
        ombrel_parse_ftp_entry(run.form(), each, &run.now(), room, length + entry_surplus, &entries[i]);
        each += length + 1;
        room += length + entry_surplus;
    }
    entries[lines.count()] = {};
    return entries;
}

} // namespace

ombrel_ftp_entry_t* ombrel_alloc_ftp_list_tag(ombrel_ftp_t* ftp, const char* path, int form, size_t* count,
                                              const char* function, unsigned long line) {
    if (form < def_ombrel_ftp_list_best || form > def_ombrel_ftp_list_names)
        return refuse_ftp_call(ftp, fault_code::invalid, "a form that is none"), nullptr;
    if (!(path != nullptr ? may_ask(ftp, path) : may_ask(ftp)))
        return nullptr;
    kept_lines lines(function, line);
    const heap_ptr<ftp_list_run> run(allocate_record<ftp_list_run>(function, line));
    if (!run)
        return refuse_ftp_call(ftp, fault_code::no_memory, "out of memory"), nullptr;
    new (run.get()) ftp_list_run(*ftp, keep_line, &lines);
    const int result = run->run(path != nullptr ? path : "", form);
    if (result != 0 && ftp->session.error())
        return end_ftp_call(*ftp, false), nullptr;
    if (result != 0)
        return refuse_ftp_call(ftp, fault_code::no_memory, "the list was not kept"), nullptr;
    ombrel_ftp_entry_t* const entries = make_block(lines, *run, function, line);
    if (entries == nullptr)
        return refuse_ftp_call(ftp, fault_code::no_memory, "out of memory"), nullptr;
    if (count != nullptr)
        *count = lines.count();
    end_ftp_call(*ftp, true);
    return entries;
}
