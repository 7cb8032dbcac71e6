/* SPDX-License-Identifier: MIT
 *
 * The catalogue of the router's events: ids, names and descriptions, and lookups by id and by name.
 * <velutils++/status.h> includes this header. It can be used from C.
 *
 * Header-only: the library exports nothing for it, and every program has its own copy.
 */
#ifndef VELUTILS_EVENT_CATALOGUE_H
#define VELUTILS_EVENT_CATALOGUE_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <velutils++/export.h>

/* One event of the system. */
typedef struct EventCatalogueEntry {
    int32_t id;              /* bits 31 to 24: the class; below: the number within it, from 1 */
    const char* name;        /* lower-case words joined by "-" */
    const char* description; /* a phrase for people */
} EventCatalogueEntry;

/* All events known to the router's daemons and scripts. Ids and names are unique. The order is not
 * that of the ids. No row marks the end, so walk the array by its element count. */
static const EventCatalogueEntry EVENT_CATALOGUE[] __attribute__((unused)) = {
    {0x01000001, "wan-up", "WAN link came up"},
    {0x01000002, "wan-down", "WAN link went down"},
    {0x02000001, "dio-in1-on", "DIO IN1 turned on"},
    {0x02000003, "dio-in2-on", "DIO IN2 turned on"},
    {0x02000002, "dio-in1-off", "DIO IN1 turned off"},
    {0x02000004, "dio-in2-off", "DIO IN2 turned off"},
    {0x02000005, "dio-out1-on", "DIO OUT1 turned on"},
    {0x02000007, "dio-out2-on", "DIO OUT2 turned on"},
    {0x02000006, "dio-out1-off", "DIO OUT1 turned off"},
    {0x02000008, "dio-out2-off", "DIO OUT2 turned off"},
    {0x0B000001, "poe-on", "POE turned on"},
    {0x0B000002, "poe-off", "POE turned off"},
    {0x03000001, "gps-up", "GPS signal is available"},
    {0x03000002, "gps-down", "GPS signal is not available"},
    {0x04000001, "openvpn-up", "OpenVPN connection came up"},
    {0x04000002, "openvpn-down", "OpenVPN connection went down"},
    {0x04000003, "ipsec-up", "IPsec connection came up"},
    {0x04000004, "ipsec-down", "IPsec connection went down"},
    {0x0400000C, "gre-up", "GRE connection came up"},
    {0x0400000D, "gre-down", "GRE connection went down"},
    {0x0400000E, "l2tp-up", "L2TP connection came up"},
    {0x0400000F, "l2tp-down", "L2TP connection went down"},
    {0x04000008, "dialin-up", "Dial-In connection came up"},
    {0x04000009, "dialin-down", "Dial-In connection went down"},
    {0x0400000A, "mobileip-up", "Mobile IP connection came up"},
    {0x0400000B, "mobileip-down", "Mobile IP connection went down"},
    {0x04000006, "pptp-up", "PPTP connection came up"},
    {0x04000007, "pptp-down", "PPTP connection went down"},
    {0x05000001, "system-login-failed", "User login failed"},
    {0x05000002, "system-login-succeeded", "User login succeeded"},
    {0x05000003, "system-logout", "User logged out"},
    {0x05000004, "system-rebooting", "System reboot has been triggered"},
    {0x05000009, "system-poweroff", "System poweroff has been triggered"},
    {0x05000005, "system-startup", "System has been started"},
    {0x05000007, "sdk-startup", "SDK has been started"},
    {0x0500000A, "system-error", "System is in error state"},
    {0x0500000B, "system-no-error", "System left error state"},
    {0x06000001, "sms-sent", "SMS has been sent"},
    {0x06000002, "sms-notsent", "SMS has not been sent"},
    {0x06000003, "sms-received", "SMS has been received"},
    {0x06000004, "sms-report-received", "SMS report has been received"},
    {0x07000001, "call-incoming", "A voice call is coming in"},
    {0x07000002, "call-outgoing", "Outgoing voice call is being established"},
    {0x08000001, "ddns-update-succeeded", "Dynamic DNS update succeeded"},
    {0x08000002, "ddns-update-failed", "Dynamic DNS update failed"},
    {0x09000001, "usb-storage-added", "USB storage device has been added"},
    {0x09000002, "usb-storage-removed", "USB storage device has been removed"},
    {0x09000003, "usb-eth-added", "USB Ethernet device has been added"},
    {0x09000004, "usb-eth-removed", "USB Ethernet device has been removed"},
    {0x09000005, "usb-serial-added", "USB serial device has been added"},
    {0x09000006, "usb-serial-removed", "USB serial device has been removed"},
    {0x05000008, "system-time-updated", "System time has been updated"},
    {0x0A000001, "redundancy-master", "System is now master router"},
    {0x0A000002, "redundancy-backup", "System is now backup router"},
    {0x0500000C, "cliphp", "Start sdk script over cliphp"},
    {0x05000006, "test", "test event"},
};

/* Returns the event with this id, or null. The rows live as long as the program. */
static inline const EventCatalogueEntry* findEventById(int32_t id) {
    const size_t count = sizeof EVENT_CATALOGUE / sizeof EVENT_CATALOGUE[0];
    size_t i = 0;
    while (i < count && EVENT_CATALOGUE[i].id != id) ++i;
    return i < count ? &EVENT_CATALOGUE[i] : NULL; /* NOLINT(modernize-use-nullptr): C */
}
/* Returns the event of this name, or null, also for a null name. */
static inline const EventCatalogueEntry* findEventByName(const char* name) {
    const size_t count = name ? sizeof EVENT_CATALOGUE / sizeof EVENT_CATALOGUE[0] : 0;
    size_t i = 0;
    while (i < count && strcmp(EVENT_CATALOGUE[i].name, name) != 0) ++i;
    return i < count ? &EVENT_CATALOGUE[i] : NULL; /* NOLINT(modernize-use-nullptr): C */
}

#endif
