/* Converts the records of the protocol to the structures of the public header. */
#ifndef FTPC_RECORDS_H
#define FTPC_RECORDS_H

#include "libftpclient/ftpc.h"
#include "wire/notice.h"
#include "wire/transfer_request.h"

/* FTPCLIENT_OK, or the daemon's reason for a refusal, an ftpclient_result; FTPCLIENT_ERR_PROTOCOL for a
 * refusal without one. */
FTPC int ftpc_verdict(const reply_t *reply);

/* Each returns the record in the form of the public header: bytes and milliseconds as whole numbers, 0 for a
 * number that counts nothing (negative, not finite or too large), FTPCLIENT_UNKNOWN for what a listing did
 * not contain. None fails. */
FTPC ftpclient_progress_t ftpc_progress(const exec_info_t *info);
FTPC ftpclient_state_t ftpc_state(const state_reply_t *reply);
FTPC ftpclient_file_info_t ftpc_file_info(const remote_file_t *file);

#endif
