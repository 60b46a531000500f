# Shows as skipped in the suite's list.
function(ombrel_skipped_test name reason)
    add_test(NAME ${name} COMMAND ${CMAKE_COMMAND} -E echo "skipped: ${reason}")
    set_tests_properties(${name} PROPERTIES SKIP_REGULAR_EXPRESSION "skipped:")
endfunction()
