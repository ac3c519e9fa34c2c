kavo_add_test(tst_multipartparser LIBRARIES kavo_module)
# Against the rules, transcribed byte by byte
kavo_add_test(tst_multipartrules LIBRARIES kavo_module SOURCES
  ${PROJECT_SOURCE_DIR}/tests/support/multipartgenerator.cpp
  ${PROJECT_SOURCE_DIR}/tests/support/multipartgenerator.h
  ${PROJECT_SOURCE_DIR}/tests/support/multipartreference.cpp
  ${PROJECT_SOURCE_DIR}/tests/support/multipartreference.h)
