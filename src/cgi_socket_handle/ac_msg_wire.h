// ac_msg_wire - a message of the control channel as it lies on the socket, both ways.
//
// Shape    a header of 20 bytes, then msg_data_len bytes of data whose layout follows from the type. One request and at
//          most one reply a connection.
#pragma once

#include "ac_mib/apconfig_wire.h"

enum ac_op_type { AC_OP_ADD = 0, AC_OP_DEL = 1, AC_OP_MODIFY = 2 };
typedef enum ac_op_type AC_OP_TYPE;

struct ac_msg_pkt {
    UINT16 ap_flag;     // 0: the data names the APs; else the request is for all
    UINT16 action;      // policy requests: ac_op_type
    UINT16 ac_msg_type; // low byte: config_ap_type; high byte: a sub-flag of that type
    UINT16 ap_num;      // APs addressed; in a reply the records that follow
    UINT8 ip[4];        // nobody reads it
    UINT16 port;        // nobody reads it
    UINT8 pad[2];
    int msg_data_len; // bytes behind this header; negative counts as none
};
typedef struct ac_msg_pkt AC_MSG_PKT;
AC_RECORD(AC_MSG_PKT, 20);
AC_AT(AC_MSG_PKT, ap_flag, 0);
AC_AT(AC_MSG_PKT, action, 2);
AC_AT(AC_MSG_PKT, ac_msg_type, 4);
AC_AT(AC_MSG_PKT, ap_num, 6);
AC_AT(AC_MSG_PKT, ip, 8);
AC_AT(AC_MSG_PKT, port, 12);
AC_AT(AC_MSG_PKT, msg_data_len, 16);

inline constexpr UINT8 AC_DEBUG_REQ = 150; // the debug dump; config_ap_type has no name for it
