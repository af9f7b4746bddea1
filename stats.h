// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef STATS_H
#define STATS_H

// What the runes chosen in the lobby make of the user's avatar.
struct Stats
{
    int health = 100;
    int speed = 5;
    int strength = 5;
    int defense = 0;
};

#endif // STATS_H
