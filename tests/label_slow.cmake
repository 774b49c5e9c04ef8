# Read by CTest behind each program's discovered tests: a suite whose name ends in "SlowTest" waits in real time, for many
# seconds. Its tests carry the label `slow` and start first, so that they wait beside the others instead of after them.
foreach(test IN LISTS JAY_DISCOVERED)
    if(test MATCHES "SlowTest\\.")
        set_tests_properties("${test}" PROPERTIES LABELS slow COST 1000)
    endif()
endforeach()
