# cmake -DSCDOC=... -DGZIP=... -DSOURCE=page.scd -DPAGE=out/name.N -P scdoc_page.cmake
# Writes the roff page PAGE and PAGE.gz (gzip -9n: no name, no time stamp).
execute_process(COMMAND ${SCDOC} INPUT_FILE ${SOURCE} OUTPUT_FILE ${PAGE}.tmp
                RESULT_VARIABLE rc ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  file(REMOVE ${PAGE}.tmp)
  message(FATAL_ERROR "scdoc ${SOURCE}: ${err}")
endif()
file(RENAME ${PAGE}.tmp ${PAGE})
execute_process(COMMAND ${GZIP} -9nc ${PAGE} OUTPUT_FILE ${PAGE}.gz.tmp RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "gzip ${PAGE} failed")
endif()
file(RENAME ${PAGE}.gz.tmp ${PAGE}.gz)
