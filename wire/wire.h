/* All records exchanged by the daemon, its clients and the network manager. Usable by itself from C11 and
 * C++: no libcurl, no daemon. All integers are little-endian. */
#ifndef WIRE_WIRE_H
#define WIRE_WIRE_H

#include "wire/control.h"
#include "wire/job_init.h"
#include "wire/job_status.h"
#include "wire/notice.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

#endif
