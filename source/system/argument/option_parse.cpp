#include <ombrel/argument.h>

#include <climits>
#include <string_view>

#include "core/fault.h"
#include "system/argument/option_complaint.h"
#include "system/argument/option_table.h"
#include "system/argument/slot_order.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

constexpr int go_on = 0;

class option_parse {
public:
    option_parse(const ombrel_argument_table_t& table, int argc, char** argv, void* record,
                 ombrel_arguments_t& result)
        : table_(&table), argc_(argc), argv_(argv), record_(record), result_(result), complaint_(result),
          order_(argv + first_argument) {}

    int run() {
        int outcome = go_on;
        while (outcome == go_on && at_ < argc_)
            outcome = read_argument();
        const int options = order_.finish();
        result_.m_table = table_;
        result_.m_operands = argv_ + first_argument + options;
        result_.m_operand_count = at_ - first_argument - options;
        return finish(outcome == go_on ? check_operands() : outcome);
    }

private:
    static constexpr int first_argument = 1;

    int read_argument() {
        const int first = at_;
        const std::string_view text = argv_[at_++];
        complaint_.about(first, {});
        if (only_operands_ || text.size() < 2 || text.front() != '-')
            return read_operand(text);
        const int outcome = text == "--"              ? end_options()
                            : starts_with(text, "--") ? read_name(slice(text, 2))
                                                      : read_letters(argv_[first] + 1);
        order_.add_options(at_ - first);
        return outcome;
    }

    int end_options() {
        only_operands_ = true;
        return go_on;
    }

    int read_operand(std::string_view text) {
        if (table_->m_commands != nullptr)
            return enter_command(text);
        only_operands_ = only_operands_ || (table_->m_flags & def_ombrel_argument_stop_at_operand) != 0;
        order_.add_operand();
        return go_on;
    }

    // Its name is no operand of it.
    int enter_command(std::string_view name) {
        order_.add_options(1);
        const ombrel_argument_table_t* const command = find_command(*table_, name);
        if (command == nullptr)
            return complaint_.unknown_command(name);
        table_ = command;
        return go_on;
    }

    int read_name(std::string_view text) {
        const size_t sign = text.find('=');
        const std::string_view name = slice(text, 0, sign);
        complaint_.about(at_ - 1, {name.data() - 2, name.size() + 2});
        const found_option found = find_name(*table_, name);
        if (found.option == nullptr)
            return complaint_.unknown_option();
        if (found.other != nullptr)
            return complaint_.ambiguous_option(found);
        const char* const attached = sign != text.npos ? text.data() + sign + 1 : nullptr;
        if (takes_value(*found.option) && !found.is_negated)
            return read_value(*found.option, attached);
        return attached != nullptr ? complaint_.unwanted_value() : apply(*found.option, !found.is_negated);
    }

    int read_letters(const char* letters) {
        const int index = at_ - 1;
        for (int outcome; *letters != '\0'; letters++) {
            const char written[] = {'-', *letters, '\0'};
            const bool is_ascii = static_cast<unsigned char>(*letters) < 0x80;
            complaint_.about(index, is_ascii ? written : argv_[index]);
            const ombrel_argument_option_t* const option = find_letter(*table_, *letters);
            if (option == nullptr)
                return complaint_.unknown_option();
            if (takes_value(*option))
                return read_value(*option, letters[1] != '\0' ? letters + 1 : nullptr);
            if ((outcome = apply(*option, true)) != go_on)
                return outcome;
        }
        return go_on;
    }

    /// @param attached what the option's own argument has for it; null for nothing
    int read_value(const ombrel_argument_option_t& option, const char* attached) {
        if (attached != nullptr)
            return apply_value(option, attached);
        if ((option.m_flags & def_ombrel_argument_optional) != 0)
            return apply_missing_value(option);
        return at_ < argc_ ? apply_value(option, argv_[at_++]) : complaint_.missing_value();
    }

    int apply_missing_value(const ombrel_argument_option_t& option) {
        const bool is_told = option.m_otherwise != nullptr || !has_typed_value(option.m_kind);
        return is_told ? apply_value(option, option.m_otherwise) : go_on;
    }

    // An option that takes no value; `is_on` where it is not taken back.
    int apply(const ombrel_argument_option_t& option, bool is_on) {
        if (const int wanted = wanted_by(option.m_kind); wanted != 0)
            return ask_for(wanted);
        if (option.m_kind != def_ombrel_argument_flag && option.m_kind != def_ombrel_argument_count)
            return apply_value(option, nullptr);
        int* const target = static_cast<int*>(target_of(option));
        if (target == nullptr)
            return complaint_.bad_table();
        if (option.m_kind == def_ombrel_argument_flag || !is_on)
            *target = is_on ? 1 : 0;
        else if (*target < INT_MAX)
            ++*target;
        return go_on;
    }

    int ask_for(int wanted) {
        is_something_wanted_ = true;
        return wanted;
    }

    int apply_value(const ombrel_argument_option_t& option, const char* value) {
        void* const target = target_of(option);
        if (option.m_kind == def_ombrel_argument_call)
            return call(option, value, target);
        if (target == nullptr)
            return complaint_.bad_table();
        if (option.m_kind == def_ombrel_argument_listed)
            return add_to_list(option, value, *static_cast<ombrel_argument_list_t*>(target));
        if (!has_typed_value(option.m_kind))
            return complaint_.bad_table();
        const value_outcome outcome = read_option_value(option, value, target);
        return outcome == value_outcome::good ? go_on : complaint_.unusable_value(option, value, outcome);
    }

    int call(const ombrel_argument_option_t& option, const char* value, void* context) {
        if (option.m_handler == nullptr)
            return complaint_.bad_table();
        const int outcome = option.m_handler(&option, value, context);
        return outcome == -1 ? complaint_.unusable_value(option, value, value_outcome::bad) : outcome;
    }

    int add_to_list(const ombrel_argument_option_t& option, const char* value, ombrel_argument_list_t& list) {
        if (list.m_entries == nullptr || list.m_count >= list.m_room)
            return complaint_.list_full();
        list.m_entries[list.m_count++] = {&option, value};
        return go_on;
    }

    void* target_of(const ombrel_argument_option_t& option) const {
        if (option.m_target != nullptr || record_ == nullptr)
            return option.m_target;
        return static_cast<char*>(record_) + option.m_offset;
    }

    int check_operands() {
        const int count = result_.m_operand_count;
        const int most = table_->m_operands == nullptr ? 0 : table_->m_most_operands;
        const bool is_limited = table_->m_operands == nullptr || most > 0;
        complaint_.about(argc_, {});
        if (table_->m_commands != nullptr)
            return complaint_.missing_command();
        if (count < table_->m_least_operands)
            return complaint_.missing_operand();
        if (is_limited && count > most)
            return complaint_.unwanted_operand(result_.m_operands[most]);
        return go_on;
    }

    int finish(int outcome) {
        if (outcome != go_on)
            result_.m_operand_count = 0;
        if (is_something_wanted_)
            result_.m_exit_code = 0;
        else if (result_.m_wrong == def_ombrel_argument_good) // a handler's
            result_.m_exit_code = outcome & 255;
        return outcome;
    }

    const ombrel_argument_table_t* table_;
    int argc_;
    char** argv_;
    void* record_;
    ombrel_arguments_t& result_;
    option_complaint complaint_;
    slot_order order_;
    int at_ = first_argument;
    bool only_operands_ = false;
    bool is_something_wanted_ = false;
};

// Up to a null that comes too early.
int count_arguments(int argc, char** argv) {
    int count = 0;
    while (count < argc && argv[count] != nullptr)
        count++;
    return count;
}

} // namespace

} // namespace ombrel::system

using namespace ombrel;

int ombrel_parse_arguments(const ombrel_argument_table_t* table, int argc, char** argv, void* record,
                           ombrel_arguments_t* arguments) {
    static constinit char* none[2]{};
    if (arguments == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    *arguments = {};
    arguments->m_table = table;
    arguments->m_operands = none;
    if (table == nullptr)
        return system::option_complaint(*arguments).bad_table();
    const int count = argv != nullptr ? system::count_arguments(argc, argv) : 0;
    char** const vector = count > 0 ? argv : none;
    return system::option_parse(*table, count, vector, record, *arguments).run();
}
