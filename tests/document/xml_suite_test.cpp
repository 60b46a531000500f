// The conformance suite of the W3C, read by its own list, each document whole and in pieces.
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/file.h>
#include <ombrel/xml.h>

#include "support/scratch_directory.h"
#include "support/xml_trace.h"

namespace {

using xml_trace::text_of;
using attributes = std::map<std::string, std::string>;

const std::string suite = OMBREL_XML_SUITE;

bool read_file(const std::string& path, std::string& bytes) {
    bytes = ombrel_test::read_file(path);
    return ombrel_file_exists(path.c_str()) != 0;
}

/// Supplies what lies beside the document, relative to what declares it.
int load(ombrel_xml_parser_t* parser, const ombrel_xml_external_t* external, void*) {
    const std::string base = text_of(external->m_base);
    const std::string path = base.substr(0, base.rfind('/') + 1) + text_of(external->m_system_id);
    std::string bytes;
    if (!read_file(path, bytes))
        return def_ombrel_xml_skip;
    ombrel_xml_parser_set_base(parser, path.c_str());
    return ombrel_xml_parser_supply(parser, bytes.data(), bytes.size());
}

struct reading {
    int result;
    ombrel_xml_fault_t fault;
    xml_trace::recorder record;
};

/// @param cut how many bytes at a time; 0 for all at once, negative for the seed of random ones
reading parse(const std::string& bytes, const std::string& base, bool has_namespaces, int cut) {
    ombrel_xml_options_t options;
    ombrel_init_xml_options(&options);
    options.m_flags = has_namespaces ? def_ombrel_xml_namespaces : 0;
    options.m_base = base.c_str();
    options.m_loader = load;
    reading all{};
    ombrel_xml_parser_t* const parser =
        ombrel_open_xml_parser(&options, xml_trace::recorder::take, &all.record);
    std::minstd_rand random(static_cast<unsigned>(-cut));
    for (size_t at = 0, size = 0; all.result == 0 && at < bytes.size(); at += size) {
        size = cut == 0 ? bytes.size() : cut > 0 ? static_cast<size_t>(cut) : 1 + random() % 40;
        size = std::min(size, bytes.size() - at);
        const std::string piece = bytes.substr(at, size); // so that reading beyond it shows
        all.result = ombrel_xml_parser_push(parser, piece.data(), piece.size());
    }
    if (all.result == 0)
        all.result = ombrel_xml_parser_end(parser);
    all.fault = *ombrel_xml_parser_get_fault(parser);
    ombrel_close_xml_parser(parser);
    return all;
}

struct test_list {
    std::vector<std::string> bases = {""};
    std::vector<attributes> tests;

    static int take(const ombrel_xml_event_t* event, void* context) {
        static_cast<test_list*>(context)->add(*event);
        return 0;
    }
    void add(const ombrel_xml_event_t& event) {
        if (event.m_kind == def_ombrel_xml_event_element_end)
            bases.pop_back();
        if (event.m_kind != def_ombrel_xml_event_element)
            return;
        attributes read;
        for (size_t i = 0; i < event.m_attribute_count; i++)
            read[text_of(event.m_attributes[i].m_name.m_full)] = text_of(event.m_attributes[i].m_value);
        bases.push_back(read.count("xml:base") ? read["xml:base"] : bases.back());
        read["base"] = bases.back();
        if (text_of(event.m_name.m_full) == "TEST")
            tests.push_back(read);
    }
};

std::string reason_to_leave_out(attributes test) {
    if (test["VERSION"] == "1.1" || test["RECOMMENDATION"].find("1.1") != std::string::npos)
        return "XML or Namespaces 1.1";
    if (test.count("EDITION") && test["EDITION"].find('5') == std::string::npos)
        return "other editions";
    return test["TYPE"] == "error" ? "errors that need not be reported" : "";
}

std::string place(const reading& read) {
    return std::to_string(read.fault.m_line) + ":" + std::to_string(read.fault.m_column) + "@" +
           std::to_string(read.fault.m_offset) + ": " + ombrel_xml_fault_text(read.fault.m_reason);
}

void check_cuts(const std::string& bytes, const std::string& base, bool has_namespaces,
                const reading& whole) {
    for (const int cut : {1, -1}) {
        const reading other = parse(bytes, base, has_namespaces, cut);
        EXPECT_EQ(whole.record.events, other.record.events) << base << " cut by " << cut;
        EXPECT_EQ(place(whole), place(other)) << base << " cut by " << cut;
    }
}

void check_output(const attributes& test, const reading& read) {
    std::string wanted;
    for (const char* const form : {"OUTPUT", "OUTPUT3"})
        if (test.count(form)) {
            ASSERT_TRUE(read_file(suite + "/xmlconf/" + test.at("base") + "/" + test.at(form), wanted))
                << test.at("ID");
            EXPECT_EQ(wanted, read.record.second()) << test.at("ID");
        }
}

TEST(XmlSuite, EveryDocumentIsReadAsTheSuiteWantsIt) {
    std::string list;
    if (!read_file(suite + "/cleaned/xmlconf-flattened.xml", list))
        GTEST_SKIP() << "the conformance suite of the W3C is not there: scripts/bootstrap brings it";
    test_list tests;
    ombrel_xml_fault_t fault;
    ASSERT_EQ(0, ombrel_parse_xml(list.data(), list.size(), nullptr, test_list::take, &tests, &fault))
        << ombrel_xml_fault_text(fault.m_reason) << fault.m_line;
    std::map<std::string, int> counts;
    for (attributes& test : tests.tests) {
        if (const std::string reason = reason_to_leave_out(test); !reason.empty()) {
            counts["left out, " + reason]++;
            continue;
        }
        const std::string path = suite + "/xmlconf/" + test["base"] + "/" + test["URI"];
        std::string bytes;
        ASSERT_TRUE(read_file(path, bytes)) << path;
        const bool has_namespaces = test["NAMESPACE"] != "no";
        const reading read = parse(bytes, path, has_namespaces, 0);
        counts[test["TYPE"]]++;
        EXPECT_EQ(test["TYPE"] == "not-wf" ? -1 : 0, read.result)
            << test["ID"] << " " << path << " " << place(read);
        check_cuts(bytes, path, has_namespaces, read);
        if (read.result == 0)
            check_output(test, read);
    }
    for (const auto& [what, count] : counts)
        std::cout << "  " << count << " " << what << "\n";
}

} // namespace
