#pragma once

// Copies Resources/XManConfigV2.xml into the Extension Manager's configuration folder, replacing
// the file of that name there, and waits for the copy to end.
//
// programPath is argv[0] as the process received it, zero-terminated, in whatever encoding the
// file system uses. Resources is looked for beside it: up to its last "/", or at the root of the
// file system when it holds none. The shell reads the path between double quotes, unescaped.
//
// Prints nothing and reports nothing: what cp has to say goes to the inherited standard error.
void CopyXManConfig(const char* programPath);
