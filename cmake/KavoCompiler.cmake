# Compiler settings that every target of this project shares, as one interface target.
add_library(kavo_compiler INTERFACE)

target_compile_definitions(kavo_compiler INTERFACE
  QT_NO_KEYWORDS                 # Boost and the standard library use `emit`, `signals` and `slots`
  QT_NO_CAST_TO_ASCII
  QT_NO_CAST_FROM_ASCII
  QT_NO_CAST_FROM_BYTEARRAY
  QT_NO_URL_CAST_FROM_STRING
  QT_DISABLE_DEPRECATED_BEFORE=0x050A00)

if(MSVC)
  target_compile_options(kavo_compiler INTERFACE /W4 /permissive- /utf-8)
  target_compile_definitions(kavo_compiler INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN)
  if(KAVO_WARNINGS_AS_ERRORS)
    target_compile_options(kavo_compiler INTERFACE /WX)
  endif()
else()
  target_compile_options(kavo_compiler INTERFACE -Wall -Wextra -Wpedantic -Wshadow)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # What Qt's own logging macros need from every compiler.
    target_compile_options(kavo_compiler INTERFACE -Wno-gnu-zero-variadic-macro-arguments)
  endif()
  if(WIN32)
    target_compile_definitions(kavo_compiler INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN)
  endif()
  if(KAVO_WARNINGS_AS_ERRORS)
    target_compile_options(kavo_compiler INTERFACE -Werror)
  endif()
endif()

if(KAVO_SANITIZE)
  target_compile_options(kavo_compiler INTERFACE
    -fsanitize=${KAVO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(kavo_compiler INTERFACE -fsanitize=${KAVO_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC sees uninitialised values in Boost's optional where the sanitizers' code stands between.
    target_compile_options(kavo_compiler INTERFACE -Wno-maybe-uninitialized)
  endif()
endif()
