#include <climits>
#include <cstring>
#include <iterator>

#include <ombrel/argument.h>
#include <ombrel/heap.h>

#include "core/fault.h"
#include "system/argument/quoting.h"

namespace ombrel::system {

namespace {

// By the numbers of the ways.
constexpr const quoting* quotings[] = {&posix_quoting, &windows_quoting, &windows_rest_quoting,
                                       &plain_quoting};

template<typename Result>
Result* fail(fault_code why) {
    leave_fault(why);
    return nullptr;
}

// The block of an argument vector: the pointers, and behind them the words.
char** alloc_vector(size_t count, size_t size, const char* function, unsigned long line) {
    size_t pointers;
    size_t bytes;
    if (__builtin_mul_overflow(count + 1, sizeof(char*), &pointers) ||
        __builtin_add_overflow(pointers, size, &bytes))
        return fail<char*>(fault_code::no_memory);
    auto** const vector = static_cast<char**>(ombrel_alloc_tag(bytes, function, line));
    return vector != nullptr ? vector : fail<char*>(fault_code::no_memory);
}

// The line of arguments, counted or written.
void join(const char* const* arguments, const quoting& way, line_text& line) {
    const char* const* argument = arguments;
    for (; *argument != nullptr; argument++) {
        if (argument != arguments)
            line.put(' ');
        (argument == arguments ? way.join_first : way.join)(*argument, line);
    }
}

bool can_join(const char* const* arguments, const quoting& way) {
    return way.takes_first == nullptr || *arguments == nullptr || way.takes_first(*arguments);
}

} // namespace

const quoting* find_quoting(int number) {
    return number >= 0 && static_cast<size_t>(number) < std::size(quotings) ? quotings[number] : nullptr;
}

} // namespace ombrel::system

using namespace ombrel;
using namespace ombrel::system;

char** ombrel_alloc_arguments_tag(const char* text, int quoting, int* count, size_t* fault_at,
                                  const char* function, unsigned long line) {
    const auto* const way = find_quoting(quoting);
    if (text == nullptr || way == nullptr)
        return fail<char*>(fault_code::invalid);
    const size_t size = strlen(text);
    word_text counted;
    const size_t stop = way->split({text, size}, counted);
    if (fault_at != nullptr)
        *fault_at = stop;
    if ((stop < size && !way->may_stay_open) || counted.count() > INT_MAX)
        return fail<char*>(fault_code::invalid);
    char** const vector = alloc_vector(counted.count(), counted.size(), function, line);
    if (vector == nullptr)
        return nullptr;
    word_text words(vector, reinterpret_cast<char*>(vector + counted.count() + 1));
    way->split({text, size}, words);
    vector[counted.count()] = nullptr;
    if (count != nullptr)
        *count = static_cast<int>(counted.count());
    return vector;
}

char* ombrel_alloc_command_line_tag(const char* const* arguments, int quoting, const char* function,
                                    unsigned long line) {
    const auto* const way = find_quoting(quoting);
    if (arguments == nullptr || way == nullptr || !can_join(arguments, *way))
        return fail<char>(fault_code::invalid);
    line_text counted;
    join(arguments, *way, counted);
    auto* const text = static_cast<char*>(ombrel_alloc_tag(counted.size() + 1, function, line));
    if (text == nullptr)
        return fail<char>(fault_code::no_memory);
    line_text written(text);
    join(arguments, *way, written);
    text[counted.size()] = '\0';
    return text;
}
