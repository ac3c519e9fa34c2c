# The multipart parser
target_sources(kavo_module PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/multipartdelimiter.cpp ${CMAKE_CURRENT_LIST_DIR}/multipartdelimiter.h
  ${CMAKE_CURRENT_LIST_DIR}/multipartname.cpp ${CMAKE_CURRENT_LIST_DIR}/multipartname.h
  ${CMAKE_CURRENT_LIST_DIR}/multipartparser.cpp ${CMAKE_CURRENT_LIST_DIR}/multipartparser.h
)
