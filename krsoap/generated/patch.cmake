# What the library needs of the types and the generator does not give.
#
#   cmake -D FOLDER=<where the generator wrote> -P patch.cmake
function(replace variable pattern by)
  string(REGEX REPLACE "${pattern}" "${by}" text "${${variable}}")
  if(text STREQUAL "${${variable}}")
    message(FATAL_ERROR "the generator writes something else now: no '${pattern}'")
  endif()
  set(${variable} "${text}" PARENT_SCOPE)
endfunction()

# A destructor with a body keeps a class from being moved: lists would be copied.
file(READ ${FOLDER}/krsoapStub.h types)
replace(types "virtual ~(ns__[A-Za-z0-9_]+)\\(\\) { }"
  "virtual ~\\1() = default; \\1(const \\1 &) = default; \\1(\\1 &&) = default; \\1 &operator=(const \\1 &) = default; \\1 &operator=(\\1 &&) = default;")
# Numbers without a name need a type that holds every 32-bit number.
replace(types "\nenum (ns__[A-Za-z0-9_]+) {" "\nenum \\1 : int {")
file(WRITE ${FOLDER}/krsoapStub.h "${types}")

# Numbers without a name are read as they are written: any.
file(READ ${FOLDER}/krsoapC.cpp serialisers)
replace(serialisers "soap_s2int\\(soap, s, &n\\) \\|\\| n < -?[0-9]+ \\|\\| n > [0-9]+\\)"
        "soap_s2int(soap, s, &n))")
file(WRITE ${FOLDER}/krsoapC.cpp "${serialisers}")
