# Builds and runs sdkconsumer.cpp with the flags that pkg-config gives.
# cmake -D PREFIX=… -D QT=<its pkgconfig folder> -D COMPILER=… -D FLAGS=… -D SOURCE=… -D OUTPUT=…
#   -D PLUGIN=… [-D EMULATOR=<what runs the target system's programs>] -P pkgconfig.cmake
cmake_minimum_required(VERSION 3.25)

find_program(pkg_config pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${PREFIX}/share/pkgconfig:${QT})
execute_process(COMMAND ${pkg_config} --cflags --libs kavo-sdk
  OUTPUT_VARIABLE sdk_flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(sdk_flags UNIX_COMMAND "${sdk_flags}")
separate_arguments(FLAGS UNIX_COMMAND "${FLAGS}")
# Debian's Qt asks for position-independent code.
execute_process(COMMAND ${COMPILER} ${FLAGS} -fPIC -o ${OUTPUT} ${SOURCE} ${sdk_flags}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${EMULATOR} ${OUTPUT} ${PLUGIN} COMMAND_ERROR_IS_FATAL ANY)
