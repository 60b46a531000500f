/*
 * ombrel_digest: the library's command "digest" as a program of its own. "ombrel_digest --help" tells how it
 * is used.
 */
#include <ombrel/multicall.h>

#include "binary_streams.h"
#include "whole_arguments.h"

int main(int argc, char** argv) {
    make_streams_binary();
    return ombrel_execute_multicall_command(ombrel_find_multicall_command("digest"), argc,
                                            whole_arguments(argv));
}
