#pragma once

#include <QLoggingCategory>

// Diagnostics of the simulator. Standard output carries only the address line, so
// everything here goes to standard error; info and debug only with --verbose.
Q_DECLARE_LOGGING_CATEGORY(lcSim)
