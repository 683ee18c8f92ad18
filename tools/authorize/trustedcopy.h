#pragma once

#include "ext4util/uniquefd.h"

#include <string>
#include <string_view>
#include <sys/types.h>

/// What went wrong, as a text for a person; empty if nothing did.
using Failure = std::string;

/// Opens a regular file of root's that nobody else can write, in a folder of which the same holds.
[[nodiscard]] Failure openTrustedFile(const std::string &folder, const std::string &name, UniqueFd &file);

/// Opens an absolute path's folder step by step from "/", through no link. Each step must belong to root or
/// to the caller, the folder itself to the caller.
[[nodiscard]] Failure openFolderOfCaller(std::string_view path, uid_t caller, UniqueFd &folder);

/// Puts the source's bytes into the folder under this name, as a set-user-ID program of root. What stood
/// there before stays until the new file is whole.
[[nodiscard]] Failure writeSetUserIdCopy(const UniqueFd &source, const UniqueFd &folder,
                                         const std::string &name);
