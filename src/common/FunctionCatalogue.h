#pragma once
// The meter's thirteen functions, one row each: the front panel key that
// selects it, the FUNCTION menu entry, the meter's reply to the function query,
// the name the settings keep, the unit words, the range frame and tag, and which
// voltage ranges it leaves selectable. The driver, the front panel, the menu and
// the restore at start-up all read this one table.
//
// Deliberate, and therefore columns rather than special cases:
// - voltage-plus-frequency is known by two reply forms, current-plus-frequency
//   only by "Hz+ACA";
// - the current-plus-frequency key writes its tag into the voltage frame;
// - the menu entry "ACV+Frequency" presses the current-plus-frequency key, and
//   "AC+DC Current" presses nothing;
// - the continuity entry is spelt "Coutinuity";
// - ripple sends nothing: the meter keeps its function, only the panel changes.

#include <QString>
#include <vector>

namespace kvx {

// A frame of the front panel's range area; None: the function shows no frame.
enum class FunctionFrame { None, Voltage, Current, Resistance, Capacitance };

// The driver member a function key calls (with the range of its group where it takes one).
enum class DriverCall {
    Nothing, // ripple
    VoltageDC,
    VoltageAC,
    VoltageACDC,
    VoltageFrequency, // presses the AC voltage key first, then the secondary display's frequency
    CurrentDC,
    CurrentAC,
    CurrentACDC,
    CurrentFrequency, // presses the AC current key first, then the secondary display's frequency
    Diode,
    Resistance,
    Capacitance,
    Continuity,
};

struct MeterFunction {
    const char* key;        // the front panel key's object name
    const char* caption;    // its caption
    const char* spokenName; // what a screen reader announces for the key
    DriverCall call;
    const char* reply;       // the meter's reply to ":CONF:FUNC?", also a saved short name
    const char* otherReply;  // a second reply form the driver knows, or nullptr
    const char* name;        // what the driver's Func returns and the settings keep
    const char* primaryWord; // unit words the driver sets from the reply
    const char* secondWord;
    FunctionFrame frame;        // the range frame brought to the front
    FunctionFrame rangeGroup;   // the group whose range is sent and shown
    const char* tag;            // written into the frame's Tag, nullptr: none
    FunctionFrame tagFrame;     // the frame that keeps the tag
    const char* voltageOptions; // option indexes of the voltage frame set below, nullptr: untouched
    bool optionsSelectable;     // what those options are set to
    const char* menuEntry;      // the FUNCTION menu entry
    const char* menuCaption;
    const char* menuPresses; // the key the entry presses, nullptr: none
    int menuPosition;        // the entry's place in the menu
};

// In the order of the keys on the panel (five to a row).
const std::vector<MeterFunction>& meterFunctions();

// The row a reply to the function query names (either reply form), or nullptr.
const MeterFunction* functionForReply(const QString& reply);
// The row whose key has this object name, or nullptr.
const MeterFunction* functionForKey(const QString& key);
// The row a saved name restores: its reply or its name, compared exactly; nullptr for none.
const MeterFunction* functionForSavedName(const QString& saved);

} // namespace kvx
