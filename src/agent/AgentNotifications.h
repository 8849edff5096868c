#pragma once
// The distributed notifications the agent posts to the daemon, with their objects.

namespace halvex::agentnotifications {

inline constexpr const char* kStartKext = "startKext";
inline constexpr const char* kStartKextObject = "it.halvex.start";
inline constexpr const char* kStartAgent = "startAgent";
inline constexpr const char* kStartAgentObject = "it.dovik.startagent";
inline constexpr const char* kStopKext = "stopKext";
inline constexpr const char* kStopKextObject = "it.halvex.stop";

}  // namespace halvex::agentnotifications
