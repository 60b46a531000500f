#include "platform/resolver.h"

#include <cstdlib>
#include <cstring>

#include "platform/common/name_hints.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/winsock.h"

namespace ombrel::platform {

namespace {

/// A text that may be missing. Names beyond ASCII are for the system to encode.
class optional_text {
public:
    explicit optional_text(const char* text)
        : is_given_(text != nullptr), text_(text != nullptr ? text : "") {}

    explicit operator bool() const { return static_cast<bool>(text_); }
    const wchar_t* get() const { return is_given_ ? text_.get() : nullptr; }

private:
    bool is_given_;
    wide_text text_;
};

ADDRINFOW* ask(const name_query& query) {
    const optional_text host(query.host), service(query.service);
    if (!host || !service)
        return nullptr;
    const ADDRINFOW hints = hints_for<ADDRINFOW>(query);
    ADDRINFOW* answers = nullptr;
    const auto call = [&] { return GetAddrInfoW(host.get(), service.get(), &hints, &answers); };
    return with_winsock(call, [](int result) { return result != 0; }) == 0 ? answers : nullptr;
}

/// The answers of the system beside the one text of theirs that is handed out.
struct answer_list {
    ADDRINFOW* answers;
    bool has_name;
    char canonical_name[1]; ///< and the rest of it
};

answer_list* make_list(ADDRINFOW* answers) {
    const narrow_text name(answers->ai_canonname != nullptr ? answers->ai_canonname : L"");
    auto* const list = name ? static_cast<answer_list*>(malloc(sizeof(answer_list) + name.size())) : nullptr;
    if (list == nullptr)
        return nullptr;
    list->answers = answers;
    list->has_name = answers->ai_canonname != nullptr;
    memcpy(list->canonical_name, name.get(), name.size() + 1);
    return list;
}

} // namespace

name_answers::name_answers(const name_query& query) {
    ADDRINFOW* const answers = ask(query);
    if (answers == nullptr)
        return;
    first_ = make_list(answers);
    if (first_ != nullptr)
        next_ = answers;
    else
        FreeAddrInfoW(answers);
}

name_answers::~name_answers() {
    if (first_ == nullptr)
        return;
    FreeAddrInfoW(static_cast<answer_list*>(first_)->answers);
    free(first_);
}

bool name_answers::next(name_answer& answer) {
    if (next_ == nullptr)
        return false;
    const ADDRINFOW* const info = static_cast<ADDRINFOW*>(next_);
    const auto* const list = static_cast<const answer_list*>(first_);
    const bool is_named = info == list->answers && list->has_name;
    next_ = info->ai_next;
    answer = {info->ai_family, info->ai_addr, info->ai_addrlen, is_named ? list->canonical_name : nullptr};
    return true;
}

// The system's service for names notices changes itself.
bool reload_name_service() {
    return false;
}

} // namespace ombrel::platform
