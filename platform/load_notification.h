// The system's notification that the library was loaded into a process.
#pragma once

namespace lumo {

enum class LoadReason { ProcessDetach = 0, ProcessAttach = 1 };

/// Delivers the attach notification when it is constructed: a static object of this class, defined
/// after what the notified function needs, stands for the system's load-time call. Thread
/// notifications do not exist here, so there is nothing to switch off.
class LoadNotification {
public:
    using Entry = bool (*)(void* module, LoadReason reason, void* reserved);
    explicit LoadNotification(Entry entry) { entry(nullptr, LoadReason::ProcessAttach, nullptr); }
};

}  // namespace lumo
