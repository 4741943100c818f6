// Everything that the library sends, by way of a platform that records it.
#pragma once

#include <map>
#include <string>

namespace privacy {

// What stood under a key in all requests.
enum class Content { Null, Empty, Filled };
// Keys of a body as "contacts[].urls[].value", of a query as "?limit".
using Keys = std::map<std::string, Content>;
// By request, as "GET /health", and the headers of them all under "Every request". ID stands
// for an identifier in a path.
using Traffic = std::map<std::string, Keys>;

// Does everything that an account can do, with every field filled. Throws std::logic_error
// where something has left that never may: what is read of no contact, a note that was not
// asked for, the host's token, the text of a search. Once for each process.
Traffic recordTraffic();

}  // namespace privacy
