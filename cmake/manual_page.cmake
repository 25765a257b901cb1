# Puts the list of commands into the manual page, where its frame says so.
file(READ ${frame} text)
file(READ ${commands} list)
string(REPLACE ".\\\" COMMANDS\n" "${list}" text "${text}")
file(WRITE ${page} "${text}")
