#pragma once

#include <QString>

namespace kvxsim {

struct ScpiCommand {
    QString header;   // upper case, no leading colon, no trailing '?'
    QString argument; // trimmed; empty when none was given
    bool isQuery = false;
};

ScpiCommand parseScpiCommand(const QString& line);

// True when every node of header is an abbreviation of the pattern's node: at least
// the short form (the pattern's leading capitals, as in "CALCulate:LIMit") and at most
// the long form. This lets "CALC:LIMI:STAT" and "CALC:LIM:LOW" reach the same node.
bool headerMatches(const QString& header, const QString& pattern);

} // namespace kvxsim
