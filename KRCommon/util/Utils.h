#pragma once

/// \file
/// The small conversions that services need everywhere, all in one header: time text, ISO 8601 and
/// durations, GUID and hexadecimal text, code pages, splitting, URLs, addresses, Base64, SHA-1, SHA-256,
/// string encryption, file versions. Each part has a header of its own for who needs but one.

#include <KRCommon/util/Addresses.h>
#include <KRCommon/util/Base64.h>
#include <KRCommon/util/Base64_Stream.h>
#include <KRCommon/util/Base64_Strict.h>
#include <KRCommon/util/Code_Pages.h>
#include <KRCommon/util/Digests.h>
#include <KRCommon/util/Guid.h>
#include <KRCommon/util/Parse_Result.h>
#include <KRCommon/util/Program_Version.h>
#include <KRCommon/util/SHA1.h>
#include <KRCommon/util/SHA256.h>
#include <KRCommon/util/String_Encryption.h>
#include <KRCommon/util/Text.h>
#include <KRCommon/util/Time_Forms.h>
#include <KRCommon/util/Time_Text.h>
#include <KRCommon/util/Url.h>
#include <KRCommon/util/Version_Retriever.h>
