// Whether there is a way to a host.
#pragma once

#include <cstdint>
#include <string>

// False when this device knows no route to any address of the host. Sends nothing, but looks the name up,
// which may take seconds. True when the name is not found: then nothing is known.
bool route_exists(const std::string &host, uint32_t port);
