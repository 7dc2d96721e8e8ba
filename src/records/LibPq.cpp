#include "LibPq.h"

#include <dlfcn.h>
#include <memory>

namespace kvx {

namespace {

// The library's run-time name, the one Qt's driver was built against.
constexpr const char* kLibPqName = "libpq.so.5";

template <typename Function> bool resolve(void* library, const char* name, Function* function) {
    *function = reinterpret_cast<Function>(dlsym(library, name));
    return *function != nullptr;
}

std::unique_ptr<LibPq> openLibPq() {
    void* library = dlopen(kLibPqName, RTLD_NOW);
    if (!library)
        return nullptr;
    auto calls = std::make_unique<LibPq>();
#define KVX_RESOLVE(name) resolve(library, #name, &calls->name)
    const bool complete = KVX_RESOLVE(PQstatus) && KVX_RESOLVE(PQtransactionStatus) &&
                          KVX_RESOLVE(PQerrorMessage) && KVX_RESOLVE(PQexec) && KVX_RESOLVE(PQresultStatus) &&
                          KVX_RESOLVE(PQresultErrorMessage) && KVX_RESOLVE(PQclear) &&
                          KVX_RESOLVE(PQgetResult) && KVX_RESOLVE(PQputCopyData) &&
                          KVX_RESOLVE(PQputCopyEnd) && KVX_RESOLVE(PQgetvalue) && KVX_RESOLVE(PQgetlength) &&
                          KVX_RESOLVE(PQgetisnull) && KVX_RESOLVE(PQsendQueryParams) &&
                          KVX_RESOLVE(PQsetSingleRowMode) && KVX_RESOLVE(PQgetCancel) &&
                          KVX_RESOLVE(PQcancel) && KVX_RESOLVE(PQfreeCancel) && KVX_RESOLVE(PQntuples) &&
                          KVX_RESOLVE(PQprepare) && KVX_RESOLVE(PQexecPrepared) && KVX_RESOLVE(PQexecParams);
#undef KVX_RESOLVE
    // The library stays loaded for the rest of the run: the driver holds it too.
    return complete ? std::move(calls) : nullptr;
}

} // namespace

const LibPq* libpq() {
    static const std::unique_ptr<LibPq> calls = openLibPq();
    return calls.get();
}

} // namespace kvx
