# The Debian package (scripts/package): the program in /usr/bin, its data in
# /usr/share/sonivel, its desktop entry, icons, AppStream metadata, manual
# page, shell completions, copyright and changelog; library dependencies found by
# dpkg-shlibdeps, plus the ffmpeg program it runs.

set(share ${PROJECT_SOURCE_DIR}/share)
set(generated ${CMAKE_BINARY_DIR}/package)
file(MAKE_DIRECTORY ${generated})

install(FILES ${share}/sonivel.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${share}/org.sonivel.Sonivel.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${share}/sonivel.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES ${share}/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/sonivel)
# Shell completions where bash, zsh and fish look for a package's own.
install(FILES ${share}/completions/sonivel.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME sonivel)
install(FILES ${share}/completions/_sonivel DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
install(FILES ${share}/completions/sonivel.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)

# Compressed the way Debian wants them: gzip -9, no name or time stamp.
find_program(GZIP gzip REQUIRED)
foreach(pair "sonivel.1;sonivel.1.gz" "changelog;changelog.Debian.gz")
  list(GET pair 0 source)
  list(GET pair 1 target)
  add_custom_command(OUTPUT ${generated}/${target}
    COMMAND sh -c "${GZIP} -9nc '${share}/${source}' > '${generated}/${target}'"
    DEPENDS ${share}/${source} VERBATIM)
  list(APPEND compressed ${generated}/${target})
endforeach()
install(FILES ${generated}/sonivel.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${generated}/changelog.Debian.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/sonivel)

# The icon at the usual sizes, drawn from the SVG.
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
foreach(size 16 22 24 32 48 64 128 256 512)
  set(png ${generated}/icons/${size}/sonivel.png)
  add_custom_command(OUTPUT ${png}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${generated}/icons/${size}
    COMMAND ${RSVG_CONVERT} -w ${size} -h ${size} -o ${png} ${share}/sonivel.svg
    DEPENDS ${share}/sonivel.svg VERBATIM)
  list(APPEND icons ${png})
  install(FILES ${png} DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps)
endforeach()
add_custom_target(package_files ALL DEPENDS ${compressed} ${icons})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME sonivel)
set(CPACK_PACKAGE_VENDOR "The Sonivel developers")
set(CPACK_PACKAGE_CONTACT "The Sonivel developers <developers@sonivel.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "even out the loudness of a batch of audio files")
set(CPACK_PACKAGE_DESCRIPTION "Sonivel measures a batch of songs, podcast episodes or jingles (the gated
loudness of each file's loudest 20 seconds, its sample peak and a loudness
curve), gives each a gain correction towards one target, lets you listen
through the batch and refine a file with per-segment gains and fades, and
exports everything normalized to WAV, MP3, FLAC, Ogg Vorbis, Opus or AAC with
a clipping guard and an optional limiter.")
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://sonivel.org/")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The analysis cache's database driver is a plugin, which the shared
# library scan does not see.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ffmpeg, libqt6sql6-sqlite")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
include(CPack)
