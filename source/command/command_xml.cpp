#include <cstddef>
#include <cstdint>

#include <ombrel/fault.h>
#include <ombrel/file.h>
#include <ombrel/heap.h>
#include <ombrel/path.h>
#include <ombrel/printf.h>
#include <ombrel/xml.h>
#include <ombrel/xml_path.h>
#include <ombrel/xml_tree.h>
#include <ombrel/xml_writer.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

constexpr int most_prefixes = 64;

struct xml_choice {
    int checks_namespaces = 0;
    int reads_entities = 0;
    int shows_notations = 0;
    int indent = 2;
    const char* prefixes[most_prefixes] = {};
};
