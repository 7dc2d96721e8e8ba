// The settings dialog, apart from the views: both libraries name their colour
// tables alike.
#include "FramePartsReal.h"

#include "frmSetting.h"

namespace kvx::parts {

QWidget* createSetting() { return new frmSetting; }

} // namespace kvx::parts
