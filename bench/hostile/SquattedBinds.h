#pragma once

#include <QStringList>

namespace quillvane::bench {

// The phone's bind time, from the control channel's TCP connect to the audio channel's welcome,
// against the quillvane program: 50 binds with nobody else connected, then 50 while one address
// keeps 12 connections that never speak open (each reopened the moment it ends), then 50 while
// four addresses keep 6 each. The squatters run in a process of their own (this program with
// --squat), as another device on the network would. Prints a line per pattern and the targets.
class SquattedBinds {
public:
    // Returns the exit status: 0 when every measurement ran, whatever the figures.
    static int run();
    // The squatters' process: --squat <port> <count per address> <address>...; squats until its
    // standard input closes, then prints how often the host ended one of its connections.
    static int squat(const QStringList& arguments);
};

} // namespace quillvane::bench
