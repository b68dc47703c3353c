// The build identity written into the event log's daily header and the
// start-up line, and returned by the version getters of the host interface.
#pragma once

constexpr const char *OV_CM_VERSION = "3.8_Linux_Build_1036";
constexpr const char *OV_CM_BUILD_DATE = "12/20/2002 18:02:39";
