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

# Making the prefix takes a while: once, before any program runs. Its server
# stays up between programs: one that starts while the last one's server is
# shutting down fails to connect ("recvmsg: Connection reset by peer"), and
# with two programs at a time that happened in about one run in three.
# Nothing started here writes to CTest's output, or CTest would wait for the
# server and Wine's own processes to end.
find_program(WINESERVER wineserver REQUIRED)
add_test(NAME wine.prefix
         COMMAND ${CMAKE_COMMAND} -E env ${QUORVAN_WINE_ENVIRONMENT} sh -c [[
           mkdir -p "$WINEPREFIX" && log="$WINEPREFIX/wineboot.log" &&
           "$0" -p120 </dev/null >/dev/null 2>&1 &&
           { "$1" wineboot --init </dev/null >"$log" 2>&1 || { cat "$log"; exit 1; }; }
         ]] ${WINESERVER} ${WINE})
set_tests_properties(wine.prefix PROPERTIES FIXTURES_SETUP wine TIMEOUT 300)
# The server may have ended already, when no program ran for a while.
add_test(NAME wine.server-stop
         COMMAND ${CMAKE_COMMAND} -E env ${QUORVAN_WINE_ENVIRONMENT} sh -c "\"$0\" -k || true" ${WINESERVER})
set_tests_properties(wine.server-stop PROPERTIES FIXTURES_CLEANUP wine)
