# The library links Qt 5 Core, the compiler's own libraries (a sanitizer's too) and the system's C
# library, no more.
# cmake -D PLUGIN=… [-D OBJDUMP=…, for a Windows library] -P check_needed.cmake
cmake_minimum_required(VERSION 3.25)

if(PLUGIN MATCHES "\\.dll$")
  execute_process(COMMAND ${OBJDUMP} --private-headers ${PLUGIN}
    OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE "[][]" "|" headers "${headers}") # brackets would keep a list together
  string(REGEX MATCHALL "DLL Name: [^\n]*" needed "${headers}")
  list(TRANSFORM needed REPLACE "DLL Name: " "")
  set(qt_core "Qt5Core.dll")
  string(CONCAT expected "^(Qt5Core|KERNEL32|msvcrt|lib(gcc_s_seh-1|stdc\\+\\+-6|winpthread-1)"
    "|MSVCP140|VCRUNTIME140(_1)?|api-ms-win-crt-.*)\\.dll$")
else()
  find_program(readelf readelf REQUIRED)
  execute_process(COMMAND ${readelf} --dynamic --wide ${PLUGIN}
    OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE "[][]" "|" dynamic "${dynamic}")
  string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*" needed "${dynamic}")
  list(TRANSFORM needed REPLACE ".*\\|(.*)\\|" "\\1")
  set(qt_core "libQt5Core.so.5")
  string(CONCAT expected "^(libQt5Core\\.so\\.5|lib(stdc\\+\\+|m|gcc_s|c|asan|ubsan)\\.so\\.[0-9]+"
    "|ld-linux.*)$")
endif()
if(NOT qt_core IN_LIST needed)
  message(FATAL_ERROR "Qt 5 Core is not among what is linked: ${needed}")
endif()
list(FILTER needed EXCLUDE REGEX "${expected}")
if(needed)
  message(FATAL_ERROR "Linked beside Qt 5 Core: ${needed}")
endif()
