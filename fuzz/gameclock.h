// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef GAMECLOCK_H
#define GAMECLOCK_H

// The clock that Qt's timers and elapsed timers read runs ahead of the real one
// by as much game time as the target has let pass. Seconds of the game take
// microseconds, and take the same course on every run of an input.

// Lets `ms` of game time pass at once: every timer due fires once, and what was
// let go is deleted, as one turn of the event loop would do.
void passTime(int ms);

// Takes the clock back to where the first input began. Nothing of the game may
// outlive an input: then every input starts at the same game time, and Qt's own
// housekeeping timers, such as the pixmap cache's, never fall due.
void rewindTime();

#endif // GAMECLOCK_H
