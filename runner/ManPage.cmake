# Makes the man page of `discrete` from its own help: help2man on the built
# program's --help-all, with discrete.h2m for what the help cannot say
# (environment, files, see also). The version is given, not asked for, as
# `discrete --version` also names the module's path on the build machine.
# Two headings the help prints as paragraphs become sections of their own:
# the list of commands and the exit status.
#
#   cmake -DHELP2MAN=... -DPROGRAM=... -DINCLUDE=... -DVERSION=... -DOUTPUT=... -P ManPage.cmake
execute_process(
  COMMAND ${HELP2MAN} --no-info --section=1 --help-option=--help-all
          --version-string=${VERSION}
          "--name=mixed-discrete design optimisation by branch and bound"
          --include=${INCLUDE} --output=${OUTPUT}.help2man ${PROGRAM}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "help2man failed on ${PROGRAM}")
endif()
file(READ ${OUTPUT}.help2man page)
file(REMOVE ${OUTPUT}.help2man)
string(REPLACE ".PP\nCommands:\n" ".SH COMMANDS\n" page "${page}")
string(REPLACE ".SS \"Exit status:\"\n" ".SH \"EXIT STATUS\"\n" page "${page}")
file(WRITE ${OUTPUT} "${page}")
