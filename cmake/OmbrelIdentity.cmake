# What the library's identity takes from the build: its version, the machine, and for reproducible builds the
# moment that SOURCE_DATE_EPOCH names instead of the compiler's clock.

function(ombrel_identity source)
    string(REPLACE "." "," version "${PROJECT_VERSION}")
    if(DEFINED ENV{SOURCE_DATE_EPOCH})
        set(hostname localhost)
        string(TIMESTAMP date "%b %d %Y" UTC)
        string(REGEX REPLACE "^(...) 0" "\\1  " date "${date}")
        string(TIMESTAMP time "%H:%M:%S" UTC)
        set(moment "OMBREL_BUILD_DATE=\"${date}\"" "OMBREL_BUILD_TIME=\"${time}\"")
    else()
        cmake_host_system_information(RESULT hostname QUERY HOSTNAME)
        set(moment)
    endif()
    set_source_files_properties(${source} PROPERTIES COMPILE_DEFINITIONS
        "OMBREL_PROJECT_VERSION=${version};OMBREL_BUILD_HOSTNAME=\"${hostname}\";${moment}")
endfunction()
