// SPDX-License-Identifier: Apache-2.0
// The window in which a change waits to be confirmed. Its checkpoint on flash is all of its state; the note
// that others look at (core/WindowNote.h) follows it. What an apply calls is in Apply.h; docs/changes.md
// draws the states.
//
//   keep_checkpoint()    the checkpoint is there, the services are being restarted     applying
//   end_checkpoint()     the last has ended: the time runs                             open
//   QSysCmdHal_ConfirmWindow(), _ExtendWindow()
//   QSysCmdHal_RestoreCheckpoint()   marked first, so that it is gone on with          returning
#pragma once

namespace qsc::apply
{

/// Whether a change waits, in whatever state.
[[nodiscard]] bool has_window();

} // namespace qsc::apply
