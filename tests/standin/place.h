// Where the feeder stand-in keeps what is uploaded: a directory that plays the server.
#pragma once

// Opens `directory` below `root`, as a server would: "/" and "." lead nowhere else, ".." is refused, what
// lacks is made (root included), links are not followed. A descriptor (the caller's), or a zixi_error, below
// 0.
int place_open(const char *root, const char *directory);
