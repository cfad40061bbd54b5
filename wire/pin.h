/* Checks the layout of the records: compilation stops when a member moves. */
#ifndef WIRE_PIN_H
#define WIRE_PIN_H

/* Before the system headers, which may fail on a big-endian machine with a less helpful message. */
#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the wire records are little-endian and are used as they lie in memory: this machine is big-endian"
#endif

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

/* The member begins `at` bytes from the record's start and has `width` bytes; the record has `size` bytes. */
#define WIRE_FIELD(record, member, at, width)                                                                \
    static_assert(offsetof(record, member) == (at) && sizeof(((record *)0)->member) == (width),              \
                  #record "." #member " moved on the wire")
#define WIRE_SIZE(record, size) static_assert(sizeof(record) == (size), #record " changed size on the wire")

#endif
