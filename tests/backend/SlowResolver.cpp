// Loaded before the C library: the search for one name never ends, as with a name server that is away.
#include <cstring>
#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

extern "C" int getaddrinfo(const char *node, const char *service, const addrinfo *hints, addrinfo **found) {
    while (node && std::strcmp(node, "slow.example") == 0)
        pause();
    const auto next = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return next(node, service, hints, found);
}
