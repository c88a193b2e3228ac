#pragma once

#include <examples/parameter_sweep/common/Messages.h>

#include <array>
#include <cstddef>

/// The names that writer and reader of the packages share with the schema.
namespace ParameterSweep {

inline constexpr const char* c_packageNamespace = "http://drelvan.example/schemas/DVRequests.xsd";
inline constexpr const char* c_instanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";

/// In the order of `RequestKind`.
inline constexpr std::array<const char*, 5> c_requestTypeNames{
    "SubmitSweepRequest", "SweepStatusRequest", "SweepResultRequest", "SweepCancelRequest", "SweepLogRequest"};

/// In the order of the alternatives of `ReplyContent`.
inline constexpr std::array<const char*, 4> c_replyTypeNames{"SweepStatusReply", "SweepResultReply", "SweepLogReply",
                                                             "SweepRefusal"};

constexpr const char* requestTypeName(RequestKind kind) { return c_requestTypeNames[static_cast<std::size_t>(kind)]; }

}  // namespace ParameterSweep
