// Asks SQLite for rows made of any values and names, takes them back, and prints them as a table: what is
// shown of them must be whole lines of printable text, as many as there are rows.

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <ombrel/ctx.h>
#include <ombrel/output.h>
#include <ombrel/plugin.h>
#include <ombrel/plugin_sqlite.h>

#include "support/byte_source.h"

namespace {

std::string printed;

unsigned keep_printed(const char* text) {
    if (text != nullptr)
        printed += text;
    return 0;
}

/// An open database in memory, for all inputs.
int database() {
    static const int ctx = [] {
        require(ombrel_load_plugin(OMBREL_FUZZ_SQLITE, nullptr) >= 0);
        const int made = ombrel_new_ctx();
        require(ombrel_ctx_set_option(made, "source", ":memory:") == 0);
        require(ombrel_open_ctx(made, def_ombrel_plugin_sqlite_mime_type) == 0);
        return made;
    }();
    return ctx;
}

std::string quoted(const std::string& name) {
    std::string text = "\"";
    for (const char c : name)
        text += c == '"' ? std::string("\"\"") : std::string(1, c);
    return text + "\"";
}

ombrel_ctx_db_value_t read_value(byte_source& bytes, const std::string& text) {
    ombrel_ctx_db_value_t value = {};
    value.m_type = static_cast<ombrel_ctx_db_type_t>(bytes.number(5));
    value.m_integer = static_cast<int64_t>(bytes.byte()) - 128;
    value.m_real = static_cast<double>(value.m_integer) / 7;
    value.m_data = text.data();
    value.m_size = text.size();
    return value;
}

void check_table(int64_t rows) {
    require(printed.empty() || printed.back() == '\n');
    require(std::count(printed.begin(), printed.end(), '\n') >= rows);
    for (const char c : printed)
        require(c == '\n' || (static_cast<unsigned char>(c) >= ' ' && c != 0x7f));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    byte_source bytes(data, size);
    const int ctx = database();
    const unsigned columns = 1 + bytes.number(4), rows = 1 + bytes.number(4);
    std::vector<std::string> texts(columns * rows);
    std::vector<ombrel_ctx_db_value_t> values;
    std::string query;
    for (unsigned row = 0; row < rows; row++) {
        query += row == 0 ? "SELECT " : " UNION ALL SELECT ";
        for (unsigned column = 0; column < columns; column++) {
            std::string& text = texts[row * columns + column];
            text = bytes.bytes();
            values.push_back(read_value(bytes, text));
            query += column == 0 ? "?" : ", ?";
            if (row == 0)
                query += " AS " + quoted(bytes.text());
        }
    }
    ombrel_ctx_db_result_t* result =
        ombrel_ctx_db_get_query_ex(ctx, query.c_str(), values.data(), values.size());
    if (result == nullptr)
        return 0; // a name that is no UTF-8
    require(ombrel_ctx_db_get_field_count(ctx, result) == static_cast<int>(columns));
    const ombrel_ctx_db_value_t* const first = ombrel_ctx_db_fetch_row(ctx, result);
    require(first != nullptr);
    for (unsigned column = 0; column < columns; column++)
        if (values[column].m_type == def_ombrel_ctx_db_blob)
            require(first[column].m_size == values[column].m_size &&
                    (first[column].m_size == 0 ||
                     memcmp(first[column].m_data, values[column].m_data, first[column].m_size) == 0));
    printed.clear();
    ombrel_set_puts_handler(keep_printed, nullptr);
    const int64_t shown = ombrel_ctx_db_dump_result(ctx, result);
    ombrel_set_puts_handler(nullptr, nullptr);
    require(shown == static_cast<int64_t>(rows) - 1);
    check_table(shown);
    require(ombrel_ctx_db_free_result(ctx, result) == 0);
    return 0;
}
