#pragma once
#include <functional>

class BusyPointer;
class FileDialog;
class HelpViewer;
class IcmpControl;
class InterfaceList;
class MessageBox;
class QObject;
class Resolver;
class Shell;
class TcpControl;
class Timer;
class TxtLookup;
namespace monitor {
class PathMonitor;
struct Target;
} // namespace monitor

// Everything through which the window reaches the outside world. The program wires
// the real adapters; tests wire fakes. The window does not own what it is given
// here, but does own the controls the factories make (they are parented to it).
struct Platform {
    MessageBox* messageBox = nullptr;
    BusyPointer* busyPointer = nullptr;
    FileDialog* fileDialog = nullptr;
    InterfaceList* interfaceList = nullptr;
    Resolver* resolver = nullptr;
    Shell* shell = nullptr;
    HelpViewer* helpViewer = nullptr;

    std::function<IcmpControl*(QObject* parent)> createIcmpControl;
    std::function<TcpControl*(QObject* parent)> createTcpControl;
    std::function<Timer*(QObject* parent)> createTimer;
    // A path monitor's probes to `target`, not started yet.
    std::function<monitor::PathMonitor*(const monitor::Target& target, QObject* parent)> createPathMonitor;
    // DNS TXT records, for the AS of each hop; none: no AS lookups.
    TxtLookup* txtLookup = nullptr;
};
