# Writes the linker's list of what libzepl exports: what its public headers declare, and nothing else.
#     cmake "-DHEADERS=FILE;..." -DOUTPUT=FILE -P exports.cmake
# Headers are read as clang-format lays them out, where each declaration of a namespace begins in the first column;
# tools/exports compares with what the compiler reads in them.
set(lines "")

# A name as symbols have it.
function(encode result name)
    string(LENGTH ${name} length)
    set(${result} ${length}${name} PARENT_SCOPE)
endfunction()

foreach(header ${HEADERS})
    file(READ ${header} text)
    string(REGEX REPLACE "//[^\n]*" "" text "${text}")
    string(REGEX REPLACE "\\[\\[[^\n]*\\]\\] *" "" text "${text}")  # attributes
    string(REGEX REPLACE "\ntemplate[^\n]*\n[^\n]*" "" text "${text}")
    string(REGEX REPLACE "[][;]" "," text "${text}")  # they would divide a list of lines
    string(REPLACE "\n" ";" text "${text}")
    foreach(line ${text})
        if(line MATCHES "^namespace ([a-z]+) {")
            encode(space ${CMAKE_MATCH_1})
        elseif(line MATCHES "^(class|struct) ([A-Za-z0-9]+)[^,]*{")
            encode(name ${CMAKE_MATCH_2})
            list(APPEND lines "_ZN${space}${name}*" "_ZNK${space}${name}*" "_ZT?N${space}${name}E")
        elseif(NOT line MATCHES "^(constexpr|inline|static_assert|using) ?" AND line MATCHES "^([^ (=][^(=]*[ *&])?([A-Za-z0-9_]+)\\(")
            encode(name ${CMAKE_MATCH_2})
            list(APPEND lines "_ZN${space}${name}E*" "_ZN${space}${name}B*")
        endif()
    endforeach()
endforeach()
list(SORT lines)
list(REMOVE_DUPLICATES lines)
list(TRANSFORM lines PREPEND "    ")
list(TRANSFORM lines APPEND "\;\n")
list(JOIN lines "" lines)
# Commands that end the program end their own task: these two are found before the C library's.
file(WRITE ${OUTPUT} "{\nglobal:\n    exit;\n    quick_exit;\n${lines}local:\n    *;\n};\n")
