// The settings object the rule filter and the specialized filter read at run
// time ("SkipSpecialChars" of "Specialized Filtering" at every attachment
// verdict, the "Content Filter" keys of CRuleScan::LoadProfile).
//
// The plug-in points the source at its global "contscan.ini" object once, at
// start, before any mail thread runs:
//   SetFilterConfigSource(&ovConfig);
// The object may be replaced on every update (under the plug-in's own lock);
// the filters always read through the pointer. Without a source, or while the
// object is null, every setting reads as its default. ovctl and the tests
// point it at their own ConfigFile.
#pragma once

class ConfigFile;

void SetFilterConfigSource(ConfigFile *const *source);
// The current settings object, or null.
ConfigFile *GetFilterConfig();
// GetPrivateProfileInt over the current object; the default without one.
int GetFilterProfileInt(const char *section, const char *key, int defaultValue);
// GetPrivateProfileString over the current object into buffer (size bytes);
// the default without one. Returns the count copied.
int GetFilterProfileString(const char *section, const char *key, const char *defaultValue,
                           char *buffer, int size);
