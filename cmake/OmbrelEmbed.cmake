# cmake -DINPUT=FILE -DOUTPUT=FILE.c -DNAME=name -P OmbrelEmbed.cmake
file(READ ${INPUT} bytes HEX)
string(LENGTH "${bytes}" digits)
math(EXPR size "${digits} / 2")
string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
file(WRITE ${OUTPUT} "#include <stddef.h>
extern const unsigned char ${NAME}[];
extern const size_t ${NAME}_size;
const size_t ${NAME}_size = ${size};
const unsigned char ${NAME}[] = {
${bytes}
};
")
