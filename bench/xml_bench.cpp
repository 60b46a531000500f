// Documents of 10 MB, taken apart by our parser and by expat, with handlers that do the same: they count
// elements, attributes and bytes of text.

#include <algorithm>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <expat.h>

#include <ombrel/xml.h>

namespace {

constexpr size_t document_size = 10 * 1000 * 1000;

// Chapters of prose with some words marked, as a manual or a book has them.
std::string mixed_text() {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<book>\n";
    for (int number = 0; text.size() < document_size; number++) {
        text +=
            "<para id=\"p" + std::to_string(number) +
            "\">It is a truth universally acknowledged, that a single "
            "man in possession of a good fortune, must be in want of a <em>wife</em>. However little known "
            "the "
            "feelings or views of such a man may be on his first entering a neighbourhood, this truth is so "
            "well fixed in the minds of the surrounding families, that he is considered as the <b>rightful "
            "property</b> of some one or other of their daughters &amp; nieces.\n  \xE2\x80\x9CMy dear Mr. "
            "Bennet,\xE2\x80\x9D said his lady to him one day, \xE2\x80\x9Chave you heard that Netherfield "
            "Park "
            "is let at last?\xE2\x80\x9D</para>\n";
    }
    return text + "</book>\n";
}

// Rows of a table, nearly all markup.
std::string records() {
    std::string text = "<?xml version=\"1.0\"?>\n<devices>\n";
    for (int number = 0; text.size() < document_size; number++) {
        const std::string digits = std::to_string(number * 7919 % 100000);
        text += "  <device id=\"" + digits + "\" kind=\"sensor\" state=\"on\" address=\"192.0.2." +
                std::to_string(number % 250) + "\" firmware=\"5.10." + std::to_string(number % 10) +
                "\"><reading unit=\"C\" value=\"21." + digits + "\"/><reading unit=\"%\" value=\"" + digits +
                "\"/><seen>2026-11-22T10:00:00Z</seen></device>\n";
    }
    return text + "</devices>\n";
}

// Namespaces, depth, and text of which most characters are three bytes long.
std::string nested() {
    std::string text = "<?xml version=\"1.0\"?>\n<f:feed xmlns:f=\"http://example.org/feed\" "
                       "xmlns:d=\"http://example.org/detail\" xmlns=\"http://example.org/plain\">\n";
    for (int number = 0; text.size() < document_size; number++) {
        const std::string digits = std::to_string(number);
        text += "<f:entry d:number=\"" + digits +
                "\"><f:head xmlns:x=\"http://example.org/x\"><x:title d:lang=\"ko\">"
                "\xED\x95\x9C\xEA\xB5\xAD\xEC\x96\xB4 \xEB\xAC\xB8\xEC\x84\x9C\xEC\x9D\x98 "
                "\xEC\xA0\x9C\xEB\xAA\xA9"
                "</x:title><x:by><name>\xEA\xB9\x80\xEC\xB2\xA0\xEC\x88\x98</name></x:by></"
                "f:head><f:body><section>"
                "<d:list><d:item f:rank=\"1\">\xEC\x95\x88\xEB\x85\x95\xED\x95\x98\xEC\x84\xB8\xEC\x9A\x94, "
                "\xEC\x84"
                "\xB8\xEA\xB3\x84\xEC\x97\xAC\xEB\x9F\xAC\xEB\xB6\x84. "
                "\xEB\xB0\x98\xEA\xB0\x91\xEC\x8A\xB5\xEB\x8B"
                "\x88\xEB\x8B\xA4.</d:item><d:item f:rank=\"2\"><deep><deeper><deepest>\xEB\x81\x9D</deepest>"
                "</deeper></deep></d:item></d:list></section></f:body></f:entry>\n";
    }
    return text + "</f:feed>\n";
}

struct tally {
    size_t elements = 0, attributes = 0, ends = 0, text = 0;

    size_t sum() const { return elements + attributes + ends + text; }
};

int count_ours(const ombrel_xml_event_t* event, void* context) {
    auto& counts = *static_cast<tally*>(context);
    if (event->m_kind == def_ombrel_xml_event_text) {
        counts.text += event->m_text.m_size;
    } else if (event->m_kind == def_ombrel_xml_event_element) {
        counts.elements++;
        counts.attributes += event->m_attribute_count;
    } else if (event->m_kind == def_ombrel_xml_event_element_end) {
        counts.ends++;
    }
    return 0;
}

void start_theirs(void* context, const XML_Char*, const XML_Char** attributes) {
    auto& counts = *static_cast<tally*>(context);
    counts.elements++;
    for (; *attributes != nullptr; attributes += 2)
        counts.attributes++;
}

void end_theirs(void* context, const XML_Char*) {
    static_cast<tally*>(context)->ends++;
}

void text_theirs(void* context, const XML_Char*, int size) {
    static_cast<tally*>(context)->text += static_cast<size_t>(size);
}

void parse_ours(benchmark::State& state, const std::string& document, size_t piece, bool has_namespaces) {
    ombrel_xml_options_t options;
    ombrel_init_xml_options(&options);
    options.m_flags = has_namespaces ? def_ombrel_xml_namespaces : 0;
    tally counts;
    for (auto _ : state) {
        ombrel_xml_parser_t* const parser = ombrel_open_xml_parser(&options, count_ours, &counts);
        int result = 0;
        for (size_t at = 0; result == 0 && at < document.size(); at += piece)
            result =
                ombrel_xml_parser_push(parser, document.data() + at, std::min(piece, document.size() - at));
        if (result != 0 || ombrel_xml_parser_end(parser) != 0)
            state.SkipWithError("refused");
        ombrel_close_xml_parser(parser);
    }
    benchmark::DoNotOptimize(counts.sum());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * document.size()));
}

void parse_theirs(benchmark::State& state, const std::string& document, size_t piece, bool has_namespaces) {
    tally counts;
    for (auto _ : state) {
        XML_Parser parser = has_namespaces ? XML_ParserCreateNS(nullptr, ' ') : XML_ParserCreate(nullptr);
        XML_SetUserData(parser, &counts);
        XML_SetElementHandler(parser, start_theirs, end_theirs);
        XML_SetCharacterDataHandler(parser, text_theirs);
        XML_Status result = XML_STATUS_OK;
        for (size_t at = 0; result == XML_STATUS_OK && at < document.size(); at += piece)
            result = XML_Parse(parser, document.data() + at,
                               static_cast<int>(std::min(piece, document.size() - at)), 0);
        if (result != XML_STATUS_OK || XML_Parse(parser, "", 0, 1) != XML_STATUS_OK)
            state.SkipWithError("refused");
        XML_ParserFree(parser);
    }
    benchmark::DoNotOptimize(counts.sum());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * document.size()));
}

struct work {
    const char* called;
    std::string (*make)();
    bool has_namespaces;
};

const int registered = [] {
    for (const work& each : {work{"xml mixed text", mixed_text, false}, work{"xml records", records, false},
                             work{"xml nested, namespaces", nested, true}}) {
        const auto document = std::make_shared<std::string>(each.make());
        const bool has_namespaces = each.has_namespaces;
        for (const size_t piece : {size_t{64 * 1024}, document_size * 2}) {
            const std::string called =
                each.called + std::string(piece > document_size ? ", whole" : ", 64 KiB");
            benchmark::RegisterBenchmark((called + "|ombrel").c_str(), [=](benchmark::State& state) {
                parse_ours(state, *document, piece, has_namespaces);
            })->Unit(benchmark::kMillisecond);
            benchmark::RegisterBenchmark((called + "|expat").c_str(), [=](benchmark::State& state) {
                parse_theirs(state, *document, piece, has_namespaces);
            })->Unit(benchmark::kMillisecond);
        }
    }
    return 0;
}();

} // namespace
