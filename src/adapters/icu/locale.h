// The user's locale and time zone.
#pragma once

#include <string>

namespace quillfold {

// The locale that dates are written in and that the device reports, such as
// "de_DE": the first of LC_ALL, LC_TIME and LANG that is set and not empty, with
// its encoding taken off. "C", "POSIX", none at all and a value that names no
// language stand for "en_US". Read from the environment on the first call, then
// fixed; ICU's own default locale is neither consulted nor changed, since it
// belongs to the host. Any thread.
const std::string& defaultLocaleIdentifier();

// The name of the local time zone, such as "Europe/Berlin": what TZ holds or, without
// it or with a rule such as "CET-1CEST,M3.5.0,M10.5.0" there, that of /etc/localtime.
// Where TZ is a file, the name is the end of its path, links followed; where nothing
// has a name, "UTC" or an offset such as "GMT+09:00" stands for it. Read on the first
// call, then fixed. Any thread.
std::string localTimeZoneName();

}  // namespace quillfold
