# The library shows nothing but Qt's two entry points.
# cmake -D PLUGIN=… [-D OBJDUMP=…, for a Windows library] -P check_exports.cmake
cmake_minimum_required(VERSION 3.25)

if(PLUGIN MATCHES "\\.dll$")
  execute_process(COMMAND ${OBJDUMP} --private-headers ${PLUGIN}
    OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE "[][]" "|" headers "${headers}") # brackets would keep a list together
  string(REGEX MATCH "Ordinal/Name Pointer\\| Table[^\n]*\n([^\n]*\\|[^\n]*\n)*" table "${headers}")
  string(REGEX MATCHALL "\\| *[0-9]+\\|[^\n]*" symbols "${table}")
  list(TRANSFORM symbols REPLACE ".*[|+ ]" "")
else()
  find_program(nm nm REQUIRED)
  execute_process(COMMAND ${nm} --dynamic --defined-only --format=just-symbols ${PLUGIN}
    OUTPUT_VARIABLE symbols OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  string(REPLACE "\n" ";" symbols "${symbols}")
endif()
list(SORT symbols)
set(expected qt_plugin_instance qt_plugin_query_metadata)
if(NOT symbols STREQUAL expected)
  message(FATAL_ERROR "Exported are: ${symbols}")
endif()
