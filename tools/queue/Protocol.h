// SPDX-License-Identifier: Apache-2.0
// How qsc and qscd talk: one queue, requests of one type in, answers of the type that each sender chose out.
//
// A request's user value is the type that its answer is wanted under. Its payload is a JSON object: "Path",
// the "Request" object, and the header "MsgHeader" with the operations as "MainOper" and the commander as
// "Owner". The answer is the same object with the answered request, the result code as "Flag", and, where the
// daemon itself could not do it, an "Error" for people. Members that the daemon does not know come back as
// they are: a sender puts a random "Number" in and takes no answer with another one, because whoever may
// write to the queue chooses the types of his messages himself.
#pragma once

#include "base/Types.h"

namespace qsc::queue
{

inline constexpr u32 kDefaultKey = 0x51534344;

inline constexpr u32 kRequestType = 1;
inline constexpr u32 kFirstAnswerType = 2;
inline constexpr u32 kLastAnswerType = INT32_MAX; ///< what every kernel takes for a type

inline constexpr i8 kRequestKind = 1;
inline constexpr i8 kAnswerKind = 2;

inline constexpr const char* kPath = "Path";
inline constexpr const char* kRequest = "Request";
inline constexpr const char* kError = "Error";
inline constexpr const char* kNumber = "Number";
inline constexpr const char* kHeader = "MsgHeader";
inline constexpr const char* kOperations = "MainOper";
inline constexpr const char* kCommander = "Owner";
inline constexpr const char* kCode = "Flag";

} // namespace qsc::queue
