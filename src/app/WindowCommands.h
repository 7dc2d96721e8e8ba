#pragma once
// The window program's answers on its control socket (see ControlSocket.h):
//   status              the working trace's status object (WorkingTrace::statusJson)
//   start               presses Start for a continuous trace, as --start does;
//                       answers "tracing" once it runs
//   stop                presses Start again (its caption is then "Stop"); "stopped"
//   clear               presses Clear; "cleared"
//   save DESCRIPTION    puts the description in the data table and presses Save
//                       Rec; answers the record's number
// The keys are the front panel's own, so the windows show what they did. Their
// questions ("Are you sure?", "Do you want to update?", "Abandon record?") are
// answered Yes, since the command is the operator's answer; a notice becomes a
// status report and the command's error answer, never a box.

namespace kvx {

class ControlServer;
class mdiMain;

void serveWindowCommands(ControlServer& server, mdiMain& frame);

} // namespace kvx
