# Builds the Debian package as `make package` does and lets lintian check it; lintian fails on errors.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND cpack --config ${BUILD_DIR}/CPackConfig.cmake -B ${WORK_DIR}
                RESULT_VARIABLE failed OUTPUT_VARIABLE out ERROR_VARIABLE out)
file(GLOB package ${WORK_DIR}/kvx5130_*.deb)
if(failed OR NOT package)
  message(FATAL_ERROR "cpack failed:\n${out}")
endif()
execute_process(COMMAND lintian --fail-on error --display-info ${package}
                RESULT_VARIABLE failed OUTPUT_VARIABLE out ERROR_VARIABLE out)
message("${out}")
if(failed)
  message(FATAL_ERROR "lintian reports errors on ${package}")
endif()
