#pragma once

#include "platform/NativeHandle.h"

#include <QtCore/QString>

/**
 * Who sits at the console, and whether this process is elevated.
 *
 * The answers are looked up on first use and again on every use until a user has been found; from then on they never
 * change for the life of the process. All functions may be called from any thread. With nobody at the console the texts
 * are empty, the SID is all zeros and the process counts as not elevated.
 */
namespace KvSecurity {

/** The size of a binary SID's buffer in bytes, the largest that Windows knows (SECURITY_MAX_SID_SIZE). */
constexpr int MaxSidSize = 68;

/** Whether this process's token is elevated. */
bool isElevated();

/** The account name of the user at the console. */
QString userName();

/** That user's SID in binary form, MaxSidSize bytes. Points to static storage; never free it. */
const unsigned char *userSid();

/** That user's SID as text, such as begins "S-1-5-". */
QString userSidString();

/**
 * A primary token of the console user without elevation, borrowed from any process that this user runs; empty if there
 * is none. Failures are logged. Searched anew on each call; the caller owns the token.
 */
KvPlatform::NativeHandle restrictedUserToken();

/** Forgets everything, as at the start of the process. For tests. */
void forget();

} // namespace KvSecurity
