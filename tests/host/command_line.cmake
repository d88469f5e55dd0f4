# The host's command line, run as a user runs it. MODE=help: the console help and its JSON form name
# every option of the tables; MODE=refusals: each bad or unserved value gives status 2 and one line.
# Usage: cmake -DVANTRELL=<host> -DMODE=help|refusals -P command_line.cmake

cmake_minimum_required(VERSION 3.18)
find_program(PYTHON3 python3 REQUIRED)

function(fail text)
  message(SEND_ERROR "${text}")
endfunction()

function(run_host)
  execute_process(COMMAND ${VANTRELL} ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out
    ERROR_VARIABLE err TIMEOUT 20)
  set(status "${status}" PARENT_SCOPE)
  set(out "${out}" PARENT_SCOPE)
  set(err "${err}" PARENT_SCOPE)
endfunction()

if(MODE STREQUAL "help")
  run_host(--help json)
  if(NOT status EQUAL 0)
    fail("--help json: status ${status}: ${err}")
  endif()
  # Every name and abbreviation that the JSON form holds, one a line; the JSON must parse.
  set(json_file ${CMAKE_CURRENT_BINARY_DIR}/host_help.json)
  file(WRITE ${json_file} "${out}")
  execute_process(COMMAND ${PYTHON3} -c
    "import json,sys\nfor g in json.load(sys.stdin).values():\n for o in g.values():\n  print(o['name']); print(o['abbreviation'])"
    INPUT_FILE ${json_file} RESULT_VARIABLE parsed OUTPUT_VARIABLE names)
  if(NOT parsed EQUAL 0)
    fail("--help json is not JSON:\n${out}")
  endif()
  string(REGEX MATCHALL "-[^\n]+" names "${names}")
  foreach(anchor --help -h --version --interval -n --no-post-processing --verbosity --debug)
    if(NOT anchor IN_LIST names)
      fail("--help json lacks ${anchor}")
    endif()
  endforeach()
  run_host(-h)
  if(NOT status EQUAL 0 OR NOT err STREQUAL "")
    fail("-h: status ${status}, standard error \"${err}\"")
  endif()
  # The layout: name column, then the description; a name that fills the column stands alone.
  if(NOT out MATCHES "\n\t-h, --help +Display text describing options and usage\n"
     OR NOT out MATCHES "\n\t    --no-post-processing\n\t +Do not automatically")
    fail("-h layout:\n${out}")
  endif()
  foreach(name IN LISTS names)
    string(FIND "${out}" "${name}" at)
    if(at EQUAL -1)
      fail("-h does not show ${name}")
    endif()
  endforeach()
  run_host(--version)
  if(NOT status EQUAL 0 OR NOT out MATCHES "^vantrell [0-9]+\\.[0-9]+\\.[0-9]+\n$")
    fail("--version: status ${status}, \"${out}\"")
  endif()
  return()
endif()

# Arguments (blank-separated) => the whole of standard error, without its line end, as a regex.
set(cases
  "--interval -5 => vantrell: --interval: \"-5\" is not a whole number of milliseconds from 1 to 4294967295"
  "--interval abc => vantrell: --interval: \"abc\" is not a whole number of milliseconds from 1 to 4294967295"
  "-n 0 => vantrell: --interval: \"0\" is not a whole number"
  "-n 4294967296 => vantrell: --interval: \"4294967296\" is not a whole number"
  "-n 10ms => vantrell: --interval: \"10ms\" is not a whole number"
  "--interval => vantrell: --interval: .*missing"
  "--verbosity abc => vantrell: --verbosity: \"abc\" is not a verbosity level from 0 to 65535"
  "--verbosity 65536 => vantrell: --verbosity: \"65536\" is not a verbosity level"
  "--bogus => vantrell: .*--bogus"
  "--help xml => vantrell: --help: \"xml\" is not a help format \\(only json\\)"
  "-z => vantrell: --auto-connected-standby: Connected Standby does not exist on Linux"
  "--enable-cstrace => vantrell: --enable-cstrace: Connected Standby does not exist on Linux"
  "--update-usage-consent => vantrell: --update-usage-consent: this build takes part in no usage insights programme"
  "-t 0 => vantrell: --time: \"0\" is not a number of seconds above 0 to 1000000000"
  "-t -1 => vantrell: .*-t"
  "-t 1s => vantrell: --time: \"1s\" is not a number of seconds"
  "-t 1e10 => vantrell: --time: \"1e10\" is not a number of seconds"
  "-s 1.2.3 => vantrell: --startdelay: \"1.2.3\" is not a number of seconds from 0"
  "--program-delay 1 => vantrell: --program-delay: waits for a program, and no -p/--program was given"
  "-o => vantrell: --output: .*missing"
  "--no-post-processing => vantrell: --no-post-processing: keeps only the result file of a collection, which needs -o/--output and no -i/--input"
  "-t 1 -f no-such-feature => vantrell: --feature: \"no-such-feature\" is no feature or feature group that this machine offers \\(.*\\)"
  "-t 1 -r no-such-format => vantrell: --result: \"no-such-format\" is not a result format here \\(.*\\)")
foreach(case IN LISTS cases)
  string(FIND "${case}" " => " split)
  string(SUBSTRING "${case}" 0 ${split} args)
  math(EXPR split "${split} + 4")
  string(SUBSTRING "${case}" ${split} -1 expected)
  separate_arguments(argv UNIX_COMMAND "${args}")
  run_host(${argv})
  if(NOT status EQUAL 2 OR NOT out STREQUAL "" OR NOT err MATCHES "^${expected}[^\n]*\n$")
    fail("vantrell ${args}: status ${status}, standard error \"${err}\", expected \"${expected}\"")
  endif()
endforeach()
