/* A record that matches its pins unless MOVED is defined. */
#include "wire/pin.h"

typedef struct sample_t {
    uint32_t first;
#ifdef MOVED
    uint32_t put_in;
#endif
    uint32_t second;
} sample_t;

WIRE_FIELD(sample_t, first, 0, 4);
WIRE_FIELD(sample_t, second, 4, 4);
WIRE_SIZE(sample_t, 8);
