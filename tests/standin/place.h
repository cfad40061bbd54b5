// The directory where the feeder stand-in stores uploads; it stands for the server.
#pragma once

// Opens `directory` below `root` as a server would: "/" and "." stay there, ".." is refused, missing
// directories are created (including root), links are not followed. Returns a descriptor, which the caller
// closes, or a zixi_error, below 0.
int place_open(const char *root, const char *directory);
