/* Converts the records of the protocol to the structures of the public header. */
#ifndef FTPC_RECORDS_H
#define FTPC_RECORDS_H

#include "libftpclient/ftpc.h"
#include "wire/notice.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

/* FTPCLIENT_OK, or the daemon's reason for a refusal. `reply` is the start of any reply's body. */
FTPC int ftpc_verdict(const uint8_t *reply);

FTPC ftpclient_progress_t ftpc_progress(const exec_info_t *info);
FTPC ftpclient_state_t ftpc_state(const uint8_t *state_reply);
FTPC ftpclient_file_info_t ftpc_file_info(const uint8_t *file_info_reply);

#endif
