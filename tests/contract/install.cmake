# Installs the host interfaces into an empty folder, and shows that they are all that is installed.
# cmake -D BUILD=<build folder> -D PREFIX=<folder> -P install.cmake
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --component sdk --prefix ${PREFIX}
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(GLOB_RECURSE installed RELATIVE ${PREFIX} ${PREFIX}/*)
set(expected
  include/kavo-sdk/http/controller.h
  include/kavo-sdk/http/controllerstrategy.h
  include/kavo-sdk/http/server/request.h
  include/kavo-sdk/http/server/response.h
  include/kavo-sdk/plugin/chunkpublisher.h
  include/kavo-sdk/plugin/chunkupdatelistener.h
  include/kavo-sdk/plugin/kavoserviceplugin.h
  share/cmake/KavoSdk/KavoSdkConfig.cmake
  share/cmake/KavoSdk/KavoSdkConfigVersion.cmake
  share/cmake/KavoSdk/KavoSdkTargets.cmake
  share/pkgconfig/kavo-sdk.pc)
list(SORT installed)
if(NOT installed STREQUAL expected)
  message(FATAL_ERROR "Expected ${expected}\nbut found ${installed}")
endif()
