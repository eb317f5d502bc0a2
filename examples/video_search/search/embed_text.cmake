# Writes HEADER with the text of TEMPLATE as `NAME`. Pieces, since compilers limit the length of one
# literal.
file(READ ${TEMPLATE} text)
string(LENGTH "${text}" length)
set(pieces "")
set(position 0)
while(position LESS length)
  string(SUBSTRING "${text}" ${position} 4000 piece)
  string(APPEND pieces "    R\"TEMPLATE(${piece})TEMPLATE\"\n")
  math(EXPR position "${position} + 4000")
endwhile()
file(WRITE ${HEADER} "#pragma once\n\nnamespace video_search {\n
inline constexpr char ${NAME}[] =\n${pieces};\n\n} // namespace video_search\n")
