#pragma once

#include "tests/fuzz/choices.h"
#include "tests/harness/RawPeer.h"

#include <string>

/// A frame with any kind and any claimed length.
std::string AnyFrame(unsigned int kind, unsigned int messageId, unsigned int correlation,
                     const std::string& payload, std::size_t claimed);

bool IsSound(unsigned int messageId, const std::string& payload);

/// A payload for \p messageId: well-formed nine times in ten.
std::string ChoosePayload(Choices& choices, unsigned int messageId);

/// The length that the frame of \p payload claims: the true one nine times in ten.
unsigned int ChooseClaim(Choices& choices, const std::string& payload);
