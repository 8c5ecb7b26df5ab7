# Generates the locales and reference texts that the conversion tests use, without root:
#   ${OUT}/de_DE.ISO-8859-1 and ${OUT}/de_DE.UTF-8   locales for LOCPATH=${OUT}
#   ${OUT}/<name>.iconv.utf8.txt                     the platform's iconv of each Latin-1 corpus file
# Anything that cannot be made is left out: the tests that need it skip and say why.
# Arguments: -DOUT=<dir> -DCORPUS=<dir> -DLOCALEDEF=<path or empty> -DICONV=<path or empty>
#            -DCHARSET_MODULES=<OFF when the tests' C library converts only UTF-8>
file(MAKE_DIRECTORY ${OUT})

foreach(charmap ISO-8859-1 UTF-8)
  set(locale ${OUT}/de_DE.${charmap})
  if(DEFINED CHARSET_MODULES AND NOT CHARSET_MODULES AND NOT charmap STREQUAL "UTF-8")
    message(STATUS "${locale} left out: the tests' C library has no charset modules")
    continue()
  endif()
  if(LOCALEDEF AND NOT EXISTS ${locale}/LC_CTYPE)
    # localedef exits non-zero for mere warnings, so the locale's files decide, not its status.
    execute_process(COMMAND ${LOCALEDEF} -i de_DE -f ${charmap} ${locale}
                    RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE messages)
    if(NOT EXISTS ${locale}/LC_CTYPE)
      message(WARNING "localedef could not make ${locale} (status ${status}): ${messages}")
    endif()
  endif()
endforeach()

foreach(name mars-french mars-german)
  set(reference ${OUT}/${name}.iconv.utf8.txt)
  if(ICONV AND NOT EXISTS ${reference})
    execute_process(COMMAND ${ICONV} -f ISO-8859-1 -t UTF-8 ${CORPUS}/${name}.latin1.txt
                    OUTPUT_FILE ${reference}.tmp RESULT_VARIABLE status)
    if(status EQUAL 0)
      file(RENAME ${reference}.tmp ${reference})
    else()
      file(REMOVE ${reference}.tmp)
      message(WARNING "iconv failed on ${CORPUS}/${name}.latin1.txt (status ${status})")
    endif()
  endif()
endforeach()
file(TOUCH ${OUT}/stamp)
