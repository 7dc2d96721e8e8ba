#pragma once
// The libpq calls the record store makes on the lab server's connection, opened
// from the library at their first use. A connection to a server comes from Qt's
// PostgreSQL driver, which has loaded libpq by then; a program that never talks
// to a server (a bench on its own SQLite file, `kvx5130 log`) then never loads it,
// nor the dozen libraries it brings (Kerberos, LDAP, TLS), a third of what its
// start-up would cost.

#include <libpq-fe.h>

namespace kvx {

struct LibPq {
    decltype(&::PQstatus) PQstatus;
    decltype(&::PQtransactionStatus) PQtransactionStatus;
    decltype(&::PQerrorMessage) PQerrorMessage;
    decltype(&::PQexec) PQexec;
    decltype(&::PQresultStatus) PQresultStatus;
    decltype(&::PQresultErrorMessage) PQresultErrorMessage;
    decltype(&::PQclear) PQclear;
    decltype(&::PQgetResult) PQgetResult;
    decltype(&::PQputCopyData) PQputCopyData;
    decltype(&::PQputCopyEnd) PQputCopyEnd;
    decltype(&::PQgetvalue) PQgetvalue;
    decltype(&::PQgetlength) PQgetlength;
    decltype(&::PQgetisnull) PQgetisnull;
    decltype(&::PQsendQueryParams) PQsendQueryParams;
    decltype(&::PQsetSingleRowMode) PQsetSingleRowMode;
    decltype(&::PQgetCancel) PQgetCancel;
    decltype(&::PQcancel) PQcancel;
    decltype(&::PQfreeCancel) PQfreeCancel;
    decltype(&::PQntuples) PQntuples;
    decltype(&::PQprepare) PQprepare;
    decltype(&::PQexecPrepared) PQexecPrepared;
    decltype(&::PQexecParams) PQexecParams;
};

// The calls, or nullptr when libpq cannot be opened (then no server connection
// can exist either).
const LibPq* libpq();

} // namespace kvx
