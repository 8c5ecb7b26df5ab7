# Generates the locales and reference texts that the conversion tests use, without root:
#   ${OUT}/de_DE.ISO-8859-1, ${OUT}/de_DE.UTF-8      locales for LOCPATH=${OUT}, and multibyte
#   ${OUT}/zh_TW.BIG5, ${OUT}/ja_JP.SJIS, ...        locales of East Asian encodings
#   ${OUT}/ru_RU.KOI8-R, ${OUT}/de_DE.CP1252          single-byte ones, the second with bytes it lacks
#   ${OUT}/<name>.iconv.utf8.txt                     the platform's iconv of each Latin-1 corpus file
# Anything that cannot be made is left out: the tests that need it skip and say why.
# Arguments: -DOUT=<dir> -DCORPUS=<dir> -DLOCALEDEF=<path or empty> -DICONV=<path or empty>
#            -DCHARSET_MODULES=<OFF when the tests' C library converts only UTF-8>
file(MAKE_DIRECTORY ${OUT})

# <locale name>:<source>:<charmap>
foreach(entry de_DE.ISO-8859-1:de_DE:ISO-8859-1 de_DE.UTF-8:de_DE:UTF-8 C.UTF-8:C:UTF-8
             zh_TW.BIG5:zh_TW:BIG5 zh_HK.BIG5-HKSCS:zh_HK:BIG5-HKSCS
             ja_JP.EUC-JISX0213:ja_JP:EUC-JISX0213 ja_JP.SHIFT_JISX0213:ja_JP:SHIFT_JISX0213
             ja_JP.EUC-JP:ja_JP:EUC-JP ja_JP.SJIS:ja_JP:SHIFT_JIS ko_KR.EUC-KR:ko_KR:EUC-KR
             zh_CN.GB18030:zh_CN:GB18030 ru_RU.KOI8-R:ru_RU:KOI8-R de_DE.CP1252:de_DE:CP1252)
  string(REPLACE ":" ";" entry ${entry})
  list(GET entry 0 name)
  list(GET entry 1 source)
  list(GET entry 2 charmap)
  set(locale ${OUT}/${name})
  if(DEFINED CHARSET_MODULES AND NOT CHARSET_MODULES AND NOT charmap STREQUAL "UTF-8")
    message(STATUS "${locale} left out: the tests' C library has no charset modules")
    continue()
  endif()
  if(LOCALEDEF AND NOT EXISTS ${locale}/LC_CTYPE)
    # localedef exits non-zero for mere warnings, so the locale's files decide, not its status.
    execute_process(COMMAND ${LOCALEDEF} -i ${source} -f ${charmap} ${locale}
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
