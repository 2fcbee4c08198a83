// The UI port: the only way the core talks to a person. The Win32 window implements it with
// message boxes titled "Ablagix"; the command line answers on the terminal; tests script it.
#pragma once

#include <string>

namespace ablagix {

enum class MessageIcon { Information, Exclamation, Critical, Question };
enum class MessageButtons { Ok, OkCancel, YesNo, YesNoCancel };
enum class MessageAnswer { Ok, Cancel, Yes, No };

class UiPort {
 public:
  virtual ~UiPort() = default;
  // Shows `text` and waits for the answer.
  virtual MessageAnswer ShowMessage(const std::wstring& text, MessageIcon icon,
                                    MessageButtons buttons) = 0;
  // A question one of whose answers destroys data (shredding a read-only file, say). `keep`
  // is the answer that leaves every file as it is; a host with nobody to ask gives that one.
  virtual MessageAnswer AskBeforeDestroying(const std::wstring& text, MessageIcon icon,
                                            MessageButtons buttons, MessageAnswer keep) {
    (void)keep;
    return ShowMessage(text, icon, buttons);
  }
  // Called often during long work. Lets the window handle pending input and returns true
  // when the user asked to stop (Esc).
  virtual bool PollForAbort() { return false; }
};

}  // namespace ablagix
