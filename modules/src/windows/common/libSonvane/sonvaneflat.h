/*
 * The flat device list: eleven plain functions for callers that know nothing
 * of the library's classes. Usable from C and C++.
 *
 *   initialize();                       once, before any query
 *   numDevices(render);                 endpoints of every state, one direction
 *   getDeviceNameLength(render, i);     then getDeviceName(render, i, buffer)
 *   ...
 *   tearDown();                         forgets the lists; initialize may follow
 *
 * `render` true selects the render endpoints, false the capture endpoints.
 * The first query of a direction enumerates the platform and keeps the list
 * until tearDown, so states and texts are those of that moment; a direction
 * without endpoints is enumerated again at every query.
 *
 * Texts are UTF-16. A copy function writes exactly the length that its
 * *Length function reports, in 16-bit units, and no terminator: ask for the
 * length first, provide room, and terminate the text yourself.
 *
 * The "name" is the endpoint's device description (for example "Speakers")
 * and the "description" is its friendly name (for example "Speakers (USB
 * Audio)"): the two words are crosswise to what they suggest.
 *
 * An index at or past the end gets false from a copy function, 0 from a
 * length or getDeviceState, and 0xFFFFFFFF from getDeviceType. A query
 * without a successful initialize is a caller's error that is not checked.
 */
#ifndef LIBSONVANE_SONVANEFLAT_H
#define LIBSONVANE_SONVANEFLAT_H

#include <libSonvane/SonvaneExport.h>

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Makes the enumerator of the flat functions. True when it stands; a second
 * call without tearDown does nothing and answers true. */
SONVANE_API bool initialize(void);
/* Destroys both lists and the enumerator. Harmless without initialize. */
SONVANE_API void tearDown(void);

SONVANE_API unsigned int numDevices(bool render);

SONVANE_API bool getDeviceName(bool render, unsigned int index, void* buffer);
SONVANE_API unsigned int getDeviceNameLength(bool render, unsigned int index);
SONVANE_API bool getDeviceDescription(bool render, unsigned int index, void* buffer);
SONVANE_API unsigned int getDeviceDescriptionLength(bool render, unsigned int index);
SONVANE_API bool getDeviceId(bool render, unsigned int index, void* buffer);
SONVANE_API unsigned int getDeviceIdLength(bool render, unsigned int index);

/* One of the DEVICE_STATE_ bits: 1 active, 2 disabled, 4 not present,
 * 8 unplugged. */
SONVANE_API unsigned int getDeviceState(bool render, unsigned int index);
/* What the endpoint's first connector leads to: 0 speaker, 1 headphones,
 * 2 S/PDIF, 3 HDMI, 4 microphone, 5 line connector; 0xFFFFFFFF for anything
 * else, also when the device has no topology. */
SONVANE_API unsigned int getDeviceType(bool render, unsigned int index);

#ifdef __cplusplus
}
#endif

#endif
