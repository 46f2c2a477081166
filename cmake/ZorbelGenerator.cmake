# The generator of the metaclasses: finds a Python that imports jinja2, asks the
# generator for the files it writes, and adds the command that writes them.
#
# Sets ZORBEL_GENERATED_DIR, ZORBEL_GENERATED_STAMP, ZORBEL_GENERATED_SOURCES (the
# library's sources) and ZORBEL_GENERATED_TEST_SOURCES (also a global property).

function(zorbel_python_has_jinja2 result candidate)
  execute_process(COMMAND ${candidate} -c "import sys, jinja2; sys.exit(sys.version_info < (3, 9))"
    RESULT_VARIABLE rc OUTPUT_QUIET ERROR_QUIET)
  if(NOT rc EQUAL 0)
    set(${result} FALSE PARENT_SCOPE)
  endif()
endfunction()

# The first python3 on the PATH may lack jinja2 while the system's has it: each
# candidate is tried in turn.
find_program(ZORBEL_PYTHON NAMES python3 VALIDATOR zorbel_python_has_jinja2
  DOC "Python 3 with jinja2, to run generator/generate.py")
set(zorbel_python_ok TRUE)
if(ZORBEL_PYTHON)
  zorbel_python_has_jinja2(zorbel_python_ok ${ZORBEL_PYTHON})
endif()
if(NOT ZORBEL_PYTHON OR NOT zorbel_python_ok)
  message(FATAL_ERROR
    "The generator needs a Python 3 that imports jinja2, and none was found "
    "(ZORBEL_PYTHON=${ZORBEL_PYTHON}). Install the package python3-jinja2 "
    "(apt-get install python3-jinja2), or point ZORBEL_PYTHON at such a Python.")
endif()

set(ZORBEL_GENERATED_DIR ${PROJECT_BINARY_DIR}/generated)
set(ZORBEL_GENERATED_STAMP ${ZORBEL_GENERATED_DIR}/generate.stamp)
set(zorbel_generator ${PROJECT_SOURCE_DIR}/generator/generate.py)
set(zorbel_metamodel ${PROJECT_SOURCE_DIR}/metamodel)

# The files to write follow from the data and the generator's code; a change of either
# runs this again.
file(GLOB zorbel_metamodel_files CONFIGURE_DEPENDS ${zorbel_metamodel}/*.json ${zorbel_metamodel}/catalogue/*.json)
file(GLOB zorbel_model_files CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/generator/zorbel_model/*.py)
file(GLOB zorbel_templates CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/generator/templates/*.j2)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${zorbel_generator} ${zorbel_metamodel_files} ${zorbel_model_files})

execute_process(
  COMMAND ${ZORBEL_PYTHON} ${zorbel_generator} --metamodel ${zorbel_metamodel} --list
  OUTPUT_VARIABLE zorbel_listed ERROR_VARIABLE zorbel_error RESULT_VARIABLE zorbel_rc)
if(NOT zorbel_rc EQUAL 0)
  message(FATAL_ERROR "generator/generate.py --list failed:\n${zorbel_error}")
endif()
string(REGEX REPLACE "\n$" "" zorbel_listed "${zorbel_listed}")
string(REPLACE "\n" ";" zorbel_listed "${zorbel_listed}")

set(zorbel_outputs "")
set(ZORBEL_GENERATED_SOURCES "")
set(ZORBEL_GENERATED_TEST_SOURCES "")
foreach(file IN LISTS zorbel_listed)
  list(APPEND zorbel_outputs ${ZORBEL_GENERATED_DIR}/${file})
  if(file MATCHES "^tests/.*\\.cpp$")
    list(APPEND ZORBEL_GENERATED_TEST_SOURCES ${ZORBEL_GENERATED_DIR}/${file})
  elseif(file MATCHES "\\.cpp$")
    list(APPEND ZORBEL_GENERATED_SOURCES ${ZORBEL_GENERATED_DIR}/${file})
  endif()
endforeach()

# The C++ is laid out by clang-format where there is one (it changes nothing else).
find_program(ZORBEL_CLANG_FORMAT NAMES clang-format DOC "clang-format, to lay out the generated C++")
set(zorbel_format_args "")
set(zorbel_format_deps "")
if(ZORBEL_CLANG_FORMAT)
  set(zorbel_format_args --clang-format ${ZORBEL_CLANG_FORMAT} --style-file ${PROJECT_SOURCE_DIR}/.clang-format)
  set(zorbel_format_deps ${PROJECT_SOURCE_DIR}/.clang-format)
endif()

# Files are rewritten only when their content changes (the stamp always is), so that an
# edit of the data rebuilds only what it touches.
add_custom_command(
  OUTPUT ${ZORBEL_GENERATED_STAMP}
  BYPRODUCTS ${zorbel_outputs}
  COMMAND ${ZORBEL_PYTHON} ${zorbel_generator} --metamodel ${zorbel_metamodel} --out ${ZORBEL_GENERATED_DIR}
          ${zorbel_format_args}
  COMMAND ${CMAKE_COMMAND} -E touch ${ZORBEL_GENERATED_STAMP}
  DEPENDS ${zorbel_generator} ${zorbel_model_files} ${zorbel_templates} ${zorbel_metamodel_files}
          ${zorbel_format_deps}
  COMMENT "Generating the metaclasses from metamodel/"
  VERBATIM)

# The test directories read the generated tests from here.
set_property(GLOBAL PROPERTY ZORBEL_GENERATED_TEST_SOURCES ${ZORBEL_GENERATED_TEST_SOURCES})
