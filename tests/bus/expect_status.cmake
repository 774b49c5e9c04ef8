# Runs PROGRAM, a list, and fails unless it ends with STATUS.
execute_process(COMMAND ${PROGRAM} RESULT_VARIABLE status)
if(NOT status STREQUAL "${STATUS}")
    message(FATAL_ERROR "${PROGRAM} ended with '${status}', not with ${STATUS}")
endif()
