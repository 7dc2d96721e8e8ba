#pragma once
// The message service of the window program: modal boxes over the active window.

#include "Services.h"

namespace kvx {

class DialogMessageService final : public MessageService {
public:
    void notice(const QString& text, const QString& title) override;
    Answer ask(const QString& text, const QString& title) override;
};

} // namespace kvx
