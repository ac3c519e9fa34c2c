# Which folder may include which. In the module arrows point one way, from what knows nothing of the
# others to the plug-in object; the module and the host see each other through sdk/ only, and may both
# use common/, which knows neither.
# cmake -D SOURCE=<folder with common/, module/, host/ and sdk/> -P check_includes.cmake
cmake_minimum_required(VERSION 3.25)

set(may_system system)
set(may_fhir fhir)
set(may_message message fhir system)
# Two interfaces stand with those who give them their meaning; the store only calls them.
set(may_context context fhir system plugin/hosthandle.h chunk/chunkbehaviour.h)
set(may_chunk chunk context message fhir system plugin/hosthandle.h)
set(may_http http context message fhir system)
set(may_plugin plugin http chunk context message fhir system)

set(violations "")
function(complain file include reason)
  set(violations "${violations}${file} includes ${include}: ${reason}\n" PARENT_SCOPE)
endfunction()

foreach(tree common module host sdk)
  file(GLOB_RECURSE files RELATIVE ${SOURCE}/${tree} ${SOURCE}/${tree}/*.h ${SOURCE}/${tree}/*.cpp)
  if(NOT files)
    message(FATAL_ERROR "No sources in ${SOURCE}/${tree}")
  endif()
  foreach(file ${files})
    string(REGEX MATCH "^[^/]+" folder ${file})
    file(STRINGS ${SOURCE}/${tree}/${file} lines REGEX "^[ \t]*#[ \t]*include")
    foreach(line IN LISTS lines)
      if(line MATCHES "\"(.+)\"")
        set(include ${CMAKE_MATCH_1})
        string(REGEX MATCH "^[^/]+" into ${include})
        if(include MATCHES "\\.moc$")
          continue()
        elseif(include MATCHES "^common/" AND NOT tree STREQUAL "sdk" AND EXISTS ${SOURCE}/${include})
          continue()
        elseif(tree STREQUAL "sdk" OR NOT EXISTS ${SOURCE}/${tree}/${include})
          complain(${tree}/${file} ${include} "not a file of ${tree}/")
        elseif(tree STREQUAL "module" AND NOT into IN_LIST may_${folder}
               AND NOT include IN_LIST may_${folder})
          complain(${tree}/${file} ${include} "${folder}/ may not know ${into}/")
        endif()
      elseif(line MATCHES "<(.+)>")
        set(include ${CMAKE_MATCH_1})
        if(include MATCHES "^(plugin|http)/" AND NOT EXISTS ${SOURCE}/sdk/${include})
          complain(${tree}/${file} ${include} "not a file of sdk/")
        elseif(include MATCHES "^Qt" AND NOT include MATCHES "^QtCore/")
          complain(${tree}/${file} ${include} "only Qt Core is used")
        elseif(NOT tree STREQUAL "host" AND include MATCHES "/"
               AND NOT include MATCHES "^(QtCore|plugin|http)/"
               AND NOT (tree STREQUAL "common" AND include MATCHES "^sys/"))
          complain(${tree}/${file} ${include} "only Qt Core and the standard library are used")
        endif()
      endif()
    endforeach()
  endforeach()
endforeach()

if(violations)
  message(FATAL_ERROR "${violations}")
endif()
