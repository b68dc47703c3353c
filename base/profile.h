// Profile functions over INI-style settings files (see config_file.h), with
// the familiar signatures. Each comes twice: by file name (opens the file
// case-insensitively for the one call; a write rereads and rewrites the whole
// file) and by an open ConfigFile.
//
//   GetPrivateProfileString  copies the value, or the default when the key is
//                            absent or empty or the file unreadable; at most
//                            size-1 characters, always terminated; returns the
//                            count copied (0 and nothing touched on a null
//                            argument or size < 1)
//   WritePrivateProfileString  sets (value), removes (null value) or, with a
//                            null key, deletes the whole section; never creates
//                            a file; 1 or 0
//   DeletePrivateProfileString removes a key; 1 or 0
//   GetPrivateProfileInt     atoi of a non-empty value (clamped to the int
//                            range), else the default when it is 0 or more,
//                            else 0
#pragma once

class ConfigFile;

int GetPrivateProfileString(const char *section, const char *key, const char *defaultValue,
                            char *buffer, int size, const char *file);
int GetPrivateProfileString(const char *section, const char *key, const char *defaultValue,
                            char *buffer, int size, ConfigFile *config);
int WritePrivateProfileString(const char *section, const char *key, const char *value,
                              const char *file);
int WritePrivateProfileString(const char *section, const char *key, const char *value,
                              ConfigFile *config);
int DeletePrivateProfileString(const char *section, const char *key, const char *file);
int DeletePrivateProfileString(const char *section, const char *key, ConfigFile *config);
int GetPrivateProfileInt(const char *section, const char *key, int defaultValue, const char *file);
int GetPrivateProfileInt(const char *section, const char *key, int defaultValue, ConfigFile *config);
