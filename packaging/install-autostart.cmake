# Runs at install time, when the final prefix is known: packages installing to /usr put the
# entry where every XDG desktop looks (/etc/xdg/autostart); other prefixes keep it under theirs.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(autostart_dir "/etc/xdg/autostart")
else()
  set(autostart_dir "${CMAKE_INSTALL_PREFIX}/etc/xdg/autostart")
endif()
file(INSTALL "${VELKO_AUTOSTART_ENTRY}" DESTINATION "${autostart_dir}")
