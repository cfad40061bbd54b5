// A base of what must exist once.
#pragma once

struct not_copied {
    not_copied() = default;
    not_copied(const not_copied &) = delete;
    not_copied &operator=(const not_copied &) = delete;
};
