# Writes SOURCE, which holds each file of FOLDER that is part of the web page: index.html as "/", the
# others as "/assets/NAME". FILES are names without a folder, separated by blanks. Bytes are written as
# numbers, so that it does not matter what they are; the ETag is the begin of their SHA-256.
separate_arguments(names UNIX_COMMAND "${FILES}")

function(content_type_of name result)
  set(html "text/html; charset=utf-8")
  set(css "text/css; charset=utf-8")
  set(js "text/javascript; charset=utf-8")
  set(svg "image/svg+xml")
  string(REGEX REPLACE ".*[.]" "" kind "${name}")
  if(NOT kind MATCHES "^(html|css|js|svg)$")
    message(FATAL_ERROR "${name}: a content type is missing for this kind of file")
  endif()
  set(${result} "${${kind}}" PARENT_SCOPE)
endfunction()

set(arrays "")
set(rows "")
set(number 0)
foreach(name IN LISTS names)
  file(READ ${FOLDER}/${name} hex HEX)
  file(SHA256 ${FOLDER}/${name} hash)
  if(hex STREQUAL "")
    message(FATAL_ERROR "${name} is empty")
  endif()
  string(REGEX REPLACE "(................................)" "\\1\n    " hex "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," hex "${hex}")
  string(SUBSTRING ${hash} 0 32 tag)
  content_type_of(${name} type)
  set(path "/assets/${name}")
  if(name STREQUAL "index.html")
    set(path "/")
  endif()
  string(APPEND arrays "constexpr unsigned char bytes_${number}[] = {\n    ${hex}};\n\n")
  string(APPEND rows "    {\"${path}\", text_of(bytes_${number}), \"${type}\", \"\\\"${tag}\\\"\"},\n")
  math(EXPR number "${number} + 1")
endforeach()

file(WRITE ${SOURCE} "// The files of the web page; made by embed_assets.cmake.

#include \"Assets.h\"

#include <cstddef>

namespace video_search {

namespace {

${arrays}template <std::size_t Size>
std::string_view text_of(const unsigned char (&bytes)[Size])
{
    return {reinterpret_cast<const char*>(bytes), Size};
}

} // namespace

const std::vector<Asset>& assets()
{
    static const std::vector<Asset> all{
${rows}    };
    return all;
}

} // namespace video_search
")
