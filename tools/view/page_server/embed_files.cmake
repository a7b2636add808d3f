# Writes a C++ source file with the bytes of the page's files.
# cmake -DFILES=FILE,... -DOUTPUT=SOURCE -P embed_files.cmake
set(types_html "text/html; charset=utf-8")
set(types_css "text/css; charset=utf-8")
set(types_js "text/javascript; charset=utf-8")
set(arrays "")
set(rows "")
set(number 0)
string(REPLACE "," ";" files "${FILES}")
foreach(file IN LISTS files)
  cmake_path(GET file FILENAME name)
  cmake_path(GET file EXTENSION LAST_ONLY extension)
  string(SUBSTRING "${extension}" 1 -1 extension)
  file(READ "${file}" bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(APPEND arrays "constexpr unsigned char file${number}[] = {${bytes}0};\n")
  string(REGEX REPLACE "^index\\.html$" "" path "${name}")
  string(APPEND rows
    "    {\"/${path}\", \"${types_${extension}}\", file${number}, sizeof file${number} - 1},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "#include \"view/page_server/page_files.h\"

namespace view {

namespace {

${arrays}
constexpr PageFile files[] = {
${rows}};

}  // namespace

const PageFile* FindPageFile(std::string_view path)
{
    for (const PageFile& file : files) {
        if (path == file.path) {
            return &file;
        }
    }
    return nullptr;
}

}  // namespace view
")
