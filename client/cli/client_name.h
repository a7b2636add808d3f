#pragma once

/// The client's name for messaging and for logging. Every log text begins with it, in every source
/// file.
constexpr char clientName[] = "SubtitleMgrCli";
