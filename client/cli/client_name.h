#pragma once

/// The client's name for messaging, for logging, and at the start of its log texts. Those carry it
/// whatever file they are made in.
constexpr char clientName[] = "SubtitleMgrCli";
