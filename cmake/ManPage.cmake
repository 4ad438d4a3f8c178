# Writes the manual page of the command from its --help texts:
#   cmake -DORMAVEC=path/to/ormavec -DVERSION=x.y.z -DOUT=ormavec.1 -P ManPage.cmake
function(help_of var)
  execute_process(COMMAND ${ORMAVEC} ${ARGN} OUTPUT_VARIABLE text RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "'ormavec ${ARGN}' failed (${status})")
  endif()
  # Roff: a backslash is \e, a minus sign \-, and a line may not start with a dot.
  string(REPLACE "\\" "\\e" text "${text}")
  string(REPLACE "-" "\\-" text "${text}")
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
  set(${var} "${text}" PARENT_SCOPE)
endfunction()

help_of(main --help)
help_of(convert convert --help)
help_of(info info --help)
file(WRITE ${OUT} ".TH ORMAVEC 1 \"\" \"Ormavec ${VERSION}\" \"User Commands\"
.SH NAME
ormavec \\- convert and summarise ASCII DXF drawings
.SH DESCRIPTION
.nf
${main}.fi
.SH \"ormavec convert\"
.nf
${convert}.fi
.SH \"ormavec info\"
.nf
${info}.fi
.SH \"EXIT STATUS\"
0 on success, 2 for a wrong command line, 1 for any other failure.
")
