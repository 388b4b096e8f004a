# Makes one manual page with help2man from a program's --help and
# --version, followed by the --help of each of its commands, and the
# sections of SECTIONS (a help2man include file).
#
#   cmake -DHELP2MAN=... -DPROGRAM=path -DNAME=vorn -DSECTIONS=file.h2m
#         -DOUTPUT=vorn.1.gz -P MakeManPage.cmake
get_filename_component(out_dir ${OUTPUT} DIRECTORY)
set(include_file ${out_dir}/${NAME}.commands.h2m)
file(READ ${SECTIONS} sections)

# The commands are the words listed under "commands:" / "SUBCOMMANDS:" in
# the program's help, each the first word of an indented line.
execute_process(COMMAND ${PROGRAM} --help OUTPUT_VARIABLE help
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} --help failed")
endif()
string(REGEX REPLACE "^.*\n(commands|Subcommands|SUBCOMMANDS):[^\n]*\n" ""
       listing "${help}")
string(REGEX REPLACE "\n\n.*$" "" listing "${listing}")
string(REGEX MATCHALL "(^|\n)  [a-z][a-z-]*" words "${listing}")
set(commands)
foreach(word IN LISTS words)
  string(STRIP "${word}" word)
  list(APPEND commands ${word})
endforeach()
list(REMOVE_DUPLICATES commands)

set(text "[COMMANDS]\n")
foreach(command IN LISTS commands)
  execute_process(COMMAND ${PROGRAM} ${command} --help
                  OUTPUT_VARIABLE command_help ERROR_VARIABLE command_help)
  # Roff: a leading dot or quote would start a request; backslashes escape.
  string(REPLACE "\\" "\\e" command_help "${command_help}")
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" command_help "${command_help}")
  string(APPEND text ".SS ${command}\n.nf\n${command_help}.fi\n")
endforeach()
file(WRITE ${include_file} "${text}\n${sections}")

execute_process(
  COMMAND ${HELP2MAN} --no-info --section=1 --include=${include_file}
          --output=${out_dir}/${NAME}.1 ${PROGRAM}
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "help2man failed for ${PROGRAM}")
endif()
execute_process(COMMAND gzip -9nf ${out_dir}/${NAME}.1 RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "gzip failed for ${NAME}.1")
endif()
