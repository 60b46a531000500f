#include <algorithm>
#include <cstring>

#include <ombrel/utf8.h>

#include "core/fault.h"
#include "text/charset/utf8_run.h"

using namespace ombrel;

namespace {

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

int break_off(ombrel_utf8_checker_t& checker) {
    checker.m_is_faulty = 1;
    return refuse(fault_code::violation);
}

/// Goes on with the character that is held: gives how many bytes of the piece belong to it, or -1 for a
/// fault.
int finish_held(ombrel_utf8_checker_t& checker, const char* text, size_t size) {
    const size_t held = checker.m_held_size;
    const size_t added = std::min(size, longest_utf8 - held);
    memcpy(checker.m_held + held, text, added);
    const utf8_reading reading = read_utf8(checker.m_held, held + added);
    if (reading.kind == utf8_reading::invalid)
        return -1;
    const bool is_whole = reading.kind == utf8_reading::valid;
    checker.m_held_size = is_whole ? 0 : reading.size;
    checker.m_offset += is_whole ? reading.size : 0;
    return static_cast<int>(reading.size - held);
}

/// Checks what begins with a character: false for a fault.
bool take(ombrel_utf8_checker_t& checker, const char* text, size_t size) {
    const size_t valid = utf8_run(text, size);
    checker.m_offset += static_cast<int64_t>(valid);
    if (valid == size)
        return true;
    const utf8_flaw flaw = utf8_flaw_at(text + valid, size - valid);
    if (!flaw.is_cut)
        return false;
    memcpy(checker.m_held, text + valid, flaw.size);
    checker.m_held_size = static_cast<uint32_t>(flaw.size);
    return true;
}

} // namespace

int ombrel_utf8_check(const char* text, size_t size, size_t* fault_at) {
    if (text == nullptr && size > 0)
        return refuse(fault_code::invalid);
    const size_t valid = utf8_run(text, size);
    if (fault_at != nullptr)
        *fault_at = valid;
    return valid == size ? 0 : refuse(fault_code::violation);
}

int ombrel_init_utf8_checker(ombrel_utf8_checker_t* checker) {
    if (checker == nullptr)
        return refuse(fault_code::invalid);
    *checker = {};
    return 0;
}

int ombrel_utf8_checker_push(ombrel_utf8_checker_t* checker, const char* text, size_t size) {
    if (checker == nullptr || (text == nullptr && size > 0))
        return refuse(fault_code::invalid);
    if (checker->m_is_faulty != 0)
        return refuse(fault_code::violation);
    if (checker->m_held_size > 0 && size > 0) {
        const int used = finish_held(*checker, text, size);
        if (used < 0)
            return break_off(*checker);
        text += used;
        size -= static_cast<size_t>(used);
    }
    return size == 0 || take(*checker, text, size) ? 0 : break_off(*checker);
}

int ombrel_utf8_checker_finish(ombrel_utf8_checker_t* checker) {
    if (checker == nullptr)
        return refuse(fault_code::invalid);
    return checker->m_is_faulty == 0 && checker->m_held_size == 0 ? 0 : break_off(*checker);
}

int64_t ombrel_utf8_checker_get_fault_at(const ombrel_utf8_checker_t* checker) {
    return checker != nullptr && checker->m_is_faulty != 0 ? checker->m_offset : -1;
}
