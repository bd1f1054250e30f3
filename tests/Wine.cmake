# Runs the Windows builds' programs under Wine: every test program is started
# through CMAKE_CROSSCOMPILING_EMULATOR, in a Wine prefix of this build's own.
# Sets QUORVAN_WINE when Wine is there, and QUORVAN_WINE_ENVIRONMENT.
find_program(WINE wine)
if(NOT WINE)
  message(STATUS "Wine not found (Debian: wine wine32:i386, or tools/install-wine.sh): "
                 "the Windows test programs are built but not run")
  set(QUORVAN_WINE OFF)
  return()
endif()
set(QUORVAN_WINE ON)

# No prompt to fetch Mono or Gecko while the prefix is made, no debug chatter.
set(QUORVAN_WINE_ENVIRONMENT WINEPREFIX=${CMAKE_CURRENT_BINARY_DIR}/wine-prefix WINEDEBUG=-all
    WINEDLLOVERRIDES=mscoree,mshtml=)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_COMMAND} -E env ${QUORVAN_WINE_ENVIRONMENT} ${WINE})

# Making the prefix takes a while: once, before any program runs.
add_test(NAME wine.prefix COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} wineboot --init)
set_tests_properties(wine.prefix PROPERTIES FIXTURES_SETUP wine TIMEOUT 300)
