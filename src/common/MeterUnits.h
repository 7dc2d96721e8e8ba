#pragma once
// The units of the meter's present function, as the windows read them when they
// label, scale or store a reading. The driver is the program's source; the
// windows are handed one when they are built, so they need not reach into the
// instrument for two words.

#include <QString>

namespace kvx {

class MeterUnits {
public:
    virtual QString sUnitPrimary() const = 0;
    virtual QString sUnitSecond() const = 0;

protected:
    ~MeterUnits() = default;
};

} // namespace kvx
