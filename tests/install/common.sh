# What the checks of an installed tree share. Sourced with `scratch` and `here` set.

fail() { echo "install check: $*" >&2; exit 1; }

headers_stand_alone() { # INCLUDE_DIR CC CXX [FLAGS...]: each in both languages
    local include=$1 cc=$2 cxx=$3 header dialect
    shift 3
    for header in "$include"/ombrel_tuk.h "$include"/ombrel/*.h; do
        printf '#include "%s"\nint consumer_of_a_header;\n' "$header" >"$scratch/alone.c"
        for dialect in "$cc -std=c99 -x c" "$cxx -std=c++11 -x c++"; do
            $dialect "$@" -Wall -Wextra -Wpedantic -Wconversion -Werror -I"$include" -fsyntax-only "$scratch/alone.c" ||
                fail "$(basename "$header") does not compile alone"
        done
    done
    for header in "$include"/ombrel_tuk.hpp "$include"/ombrel/cpp/*.hpp; do
        printf '#include "%s"\nint consumer_of_a_header;\n' "$header" >"$scratch/alone.c"
        for dialect in "-std=c++17" "-std=c++20 -fno-exceptions -fno-rtti"; do
            $cxx $dialect -x c++ "$@" -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -I"$include" -fsyntax-only \
                "$scratch/alone.c" || fail "$(basename "$header") does not compile alone"
        done
    done
}

write_readme_program() { # FILE: the program that the README shows
    awk '/^```c$/ { on = 1; next } /^```$/ { on = 0 } on' "$here/../../README.md" >"$1"
}

says_what_the_readme_promises() { # COMMAND...
    [ "$("$@" | tr -d '\r' | sed 's/[0-9]* live/N live/' | xargs)" = \
        "assigned 3: N live blocks 2: N live blocks 1: N live blocks" ]
}
