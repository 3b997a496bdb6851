# Writes a C++ source holding the page's files, so that tavnd serves them
# from its own binary and needs no file at run time.
#   cmake -DBASE=<folder> -DFILES=<name,name,...> -DOUTPUT=<file.cpp> -P embed_web.cmake
# Each file becomes a byte array with its path, media type and a strong
# ETag (the first 20 hex digits of its SHA-256).
string(REPLACE "," ";" files "${FILES}")
set(arrays "")
set(table "")
set(n 0)
foreach(name IN LISTS files)
  set(path "${BASE}/${name}")
  file(READ "${path}" hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)"
         "\\1\n" bytes "${bytes}")
  file(SHA256 "${path}" digest)
  string(SUBSTRING "${digest}" 0 20 etag)
  get_filename_component(ext "${name}" LAST_EXT)
  if(ext STREQUAL ".html")
    set(type "text/html; charset=utf-8")
  elseif(ext STREQUAL ".css")
    set(type "text/css; charset=utf-8")
  elseif(ext STREQUAL ".js")
    set(type "text/javascript; charset=utf-8")
  elseif(ext STREQUAL ".svg")
    set(type "image/svg+xml")
  elseif(ext STREQUAL ".png")
    set(type "image/png")
  else()
    message(FATAL_ERROR "embed_web.cmake: no media type for ${name}")
  endif()
  file(SIZE "${path}" size)
  if(size EQUAL 0)
    message(FATAL_ERROR "embed_web.cmake: ${name} is empty")
  endif()
  string(APPEND arrays "const unsigned char kFile${n}[] = {\n${bytes}};\n")
  string(APPEND table "    {\"/${name}\", \"${type}\", kFile${n}, sizeof kFile${n}, \"\\\"${etag}\\\"\"},\n")
  math(EXPR n "${n} + 1")
endforeach()
set(source "// Made by server/web/embed_web.cmake from the files of server/web/.
#include <cstddef>

#include \"server/web/web_assets.h\"

namespace tavn::server {
namespace {

${arrays}
}  // namespace

extern const WebAsset kWebAssets[] = {
${table}};
extern const size_t kWebAssetCount = ${n};

}  // namespace tavn::server
")
# Rewritten only when it changes, so an unchanged page rebuilds nothing.
set(old "")
if(EXISTS "${OUTPUT}")
  file(READ "${OUTPUT}" old)
endif()
if(NOT old STREQUAL source)
  file(WRITE "${OUTPUT}" "${source}")
endif()
