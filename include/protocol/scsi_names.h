/*
 * Standard names (SPC) of SCSI status bytes, sense keys, additional sense
 * codes, peripheral device types and VPD designator fields, for showing
 * what a target answered. Every lookup takes any value and returns NULL
 * (or a fixed word) for one it does not know. Header-only; compiles as C11
 * and C++.
 */
#ifndef SCSI_NAMES_H
#define SCSI_NAMES_H

#include "scsi.h"

#ifdef __cplusplus
extern "C" {
#endif

static inline const char *scsi_status_name(uint8_t status)
{
	switch (status) {
	case SCSI_STATUS_GOOD: return "GOOD";
	case SCSI_STATUS_CHECK_CONDITION: return "CHECK CONDITION";
	case SCSI_STATUS_CONDITION_MET: return "CONDITION MET";
	case SCSI_STATUS_BUSY: return "BUSY";
	case SCSI_STATUS_RESERVATION_CONFLICT: return "RESERVATION CONFLICT";
	case SCSI_STATUS_TASK_SET_FULL: return "TASK SET FULL";
	case SCSI_STATUS_ACA_ACTIVE: return "ACA ACTIVE";
	case SCSI_STATUS_TASK_ABORTED: return "TASK ABORTED";
	default: return NULL;
	}
}

static inline const char *scsi_sense_key_name(uint8_t key)
{
	static const char *const names[16] = {
		"NO SENSE",        "RECOVERED ERROR", "NOT READY",      "MEDIUM ERROR",
		"HARDWARE ERROR",  "ILLEGAL REQUEST", "UNIT ATTENTION", "DATA PROTECT",
		"BLANK CHECK",     "VENDOR SPECIFIC", "COPY ABORTED",   "ABORTED COMMAND",
		"RESERVED",        "VOLUME OVERFLOW", "MISCOMPARE",     "COMPLETED"};
	return names[key & 0x0F];
}

/* Additional sense codes and qualifiers (SPC, annex of ASC/ASCQ assignments). */
#define SCSI_ASC_NAMES(X) \
	X(0x00, 0x00, "NO ADDITIONAL SENSE INFORMATION") \
	X(0x00, 0x01, "FILEMARK DETECTED") \
	X(0x00, 0x02, "END-OF-PARTITION/MEDIUM DETECTED") \
	X(0x00, 0x04, "BEGINNING-OF-PARTITION/MEDIUM DETECTED") \
	X(0x00, 0x05, "END-OF-DATA DETECTED") \
	X(0x00, 0x16, "OPERATION IN PROGRESS") \
	X(0x02, 0x00, "NO SEEK COMPLETE") \
	X(0x03, 0x00, "PERIPHERAL DEVICE WRITE FAULT") \
	X(0x04, 0x00, "LOGICAL UNIT NOT READY, CAUSE NOT REPORTABLE") \
	X(0x04, 0x01, "LOGICAL UNIT IS IN PROCESS OF BECOMING READY") \
	X(0x04, 0x02, "LOGICAL UNIT NOT READY, INITIALIZING COMMAND REQUIRED") \
	X(0x04, 0x03, "LOGICAL UNIT NOT READY, MANUAL INTERVENTION REQUIRED") \
	X(0x04, 0x04, "LOGICAL UNIT NOT READY, FORMAT IN PROGRESS") \
	X(0x04, 0x07, "LOGICAL UNIT NOT READY, OPERATION IN PROGRESS") \
	X(0x04, 0x09, "LOGICAL UNIT NOT READY, SELF-TEST IN PROGRESS") \
	X(0x04, 0x0A, "LOGICAL UNIT NOT ACCESSIBLE, ASYMMETRIC ACCESS STATE TRANSITION") \
	X(0x04, 0x0B, "LOGICAL UNIT NOT ACCESSIBLE, TARGET PORT IN STANDBY STATE") \
	X(0x04, 0x0C, "LOGICAL UNIT NOT ACCESSIBLE, TARGET PORT IN UNAVAILABLE STATE") \
	X(0x04, 0x11, "LOGICAL UNIT NOT READY, NOTIFY (ENABLE SPINUP) REQUIRED") \
	X(0x05, 0x00, "LOGICAL UNIT DOES NOT RESPOND TO SELECTION") \
	X(0x08, 0x00, "LOGICAL UNIT COMMUNICATION FAILURE") \
	X(0x08, 0x01, "LOGICAL UNIT COMMUNICATION TIME-OUT") \
	X(0x08, 0x02, "LOGICAL UNIT COMMUNICATION PARITY ERROR") \
	X(0x0C, 0x00, "WRITE ERROR") \
	X(0x0C, 0x02, "WRITE ERROR - AUTO REALLOCATION FAILED") \
	X(0x10, 0x01, "LOGICAL BLOCK GUARD CHECK FAILED") \
	X(0x10, 0x02, "LOGICAL BLOCK APPLICATION TAG CHECK FAILED") \
	X(0x10, 0x03, "LOGICAL BLOCK REFERENCE TAG CHECK FAILED") \
	X(0x11, 0x00, "UNRECOVERED READ ERROR") \
	X(0x11, 0x01, "READ RETRIES EXHAUSTED") \
	X(0x11, 0x04, "UNRECOVERED READ ERROR - AUTO REALLOCATE FAILED") \
	X(0x14, 0x00, "RECORDED ENTITY NOT FOUND") \
	X(0x14, 0x01, "RECORD NOT FOUND") \
	X(0x15, 0x00, "RANDOM POSITIONING ERROR") \
	X(0x1A, 0x00, "PARAMETER LIST LENGTH ERROR") \
	X(0x1D, 0x00, "MISCOMPARE DURING VERIFY OPERATION") \
	X(0x20, 0x00, "INVALID COMMAND OPERATION CODE") \
	X(0x20, 0x02, "ACCESS DENIED - NO ACCESS RIGHTS") \
	X(0x21, 0x00, "LOGICAL BLOCK ADDRESS OUT OF RANGE") \
	X(0x21, 0x01, "INVALID ELEMENT ADDRESS") \
	X(0x24, 0x00, "INVALID FIELD IN CDB") \
	X(0x25, 0x00, "LOGICAL UNIT NOT SUPPORTED") \
	X(0x26, 0x00, "INVALID FIELD IN PARAMETER LIST") \
	X(0x26, 0x01, "PARAMETER NOT SUPPORTED") \
	X(0x26, 0x02, "PARAMETER VALUE INVALID") \
	X(0x27, 0x00, "WRITE PROTECTED") \
	X(0x27, 0x01, "HARDWARE WRITE PROTECTED") \
	X(0x27, 0x02, "LOGICAL UNIT SOFTWARE WRITE PROTECTED") \
	X(0x28, 0x00, "NOT READY TO READY CHANGE, MEDIUM MAY HAVE CHANGED") \
	X(0x29, 0x00, "POWER ON, RESET, OR BUS DEVICE RESET OCCURRED") \
	X(0x29, 0x01, "POWER ON OCCURRED") \
	X(0x29, 0x02, "SCSI BUS RESET OCCURRED") \
	X(0x29, 0x03, "BUS DEVICE RESET FUNCTION OCCURRED") \
	X(0x29, 0x04, "DEVICE INTERNAL RESET") \
	X(0x29, 0x07, "I_T NEXUS LOSS OCCURRED") \
	X(0x2A, 0x00, "PARAMETERS CHANGED") \
	X(0x2A, 0x01, "MODE PARAMETERS CHANGED") \
	X(0x2A, 0x02, "LOG PARAMETERS CHANGED") \
	X(0x2A, 0x03, "RESERVATIONS PREEMPTED") \
	X(0x2A, 0x04, "RESERVATIONS RELEASED") \
	X(0x2A, 0x05, "REGISTRATIONS PREEMPTED") \
	X(0x2A, 0x06, "ASYMMETRIC ACCESS STATE CHANGED") \
	X(0x2A, 0x09, "CAPACITY DATA HAS CHANGED") \
	X(0x2C, 0x00, "COMMAND SEQUENCE ERROR") \
	X(0x2F, 0x00, "COMMANDS CLEARED BY ANOTHER INITIATOR") \
	X(0x30, 0x00, "INCOMPATIBLE MEDIUM INSTALLED") \
	X(0x31, 0x00, "MEDIUM FORMAT CORRUPTED") \
	X(0x3A, 0x00, "MEDIUM NOT PRESENT") \
	X(0x3A, 0x01, "MEDIUM NOT PRESENT - TRAY CLOSED") \
	X(0x3A, 0x02, "MEDIUM NOT PRESENT - TRAY OPEN") \
	X(0x3B, 0x00, "SEQUENTIAL POSITIONING ERROR") \
	X(0x3E, 0x00, "LOGICAL UNIT HAS NOT SELF-CONFIGURED YET") \
	X(0x3E, 0x01, "LOGICAL UNIT FAILURE") \
	X(0x3E, 0x02, "TIMEOUT ON LOGICAL UNIT") \
	X(0x3F, 0x00, "TARGET OPERATING CONDITIONS HAVE CHANGED") \
	X(0x3F, 0x01, "MICROCODE HAS BEEN CHANGED") \
	X(0x3F, 0x03, "INQUIRY DATA HAS CHANGED") \
	X(0x3F, 0x0E, "REPORTED LUNS DATA HAS CHANGED") \
	X(0x43, 0x00, "MESSAGE ERROR") \
	X(0x44, 0x00, "INTERNAL TARGET FAILURE") \
	X(0x45, 0x00, "SELECT OR RESELECT FAILURE") \
	X(0x47, 0x00, "SCSI PARITY ERROR") \
	X(0x48, 0x00, "INITIATOR DETECTED ERROR MESSAGE RECEIVED") \
	X(0x49, 0x00, "INVALID MESSAGE ERROR") \
	X(0x4B, 0x00, "DATA PHASE ERROR") \
	X(0x4E, 0x00, "OVERLAPPED COMMANDS ATTEMPTED") \
	X(0x53, 0x02, "MEDIUM REMOVAL PREVENTED") \
	X(0x55, 0x03, "INSUFFICIENT RESOURCES") \
	X(0x5D, 0x00, "FAILURE PREDICTION THRESHOLD EXCEEDED") \
	X(0x5E, 0x00, "LOW POWER CONDITION ON") \
	X(0x68, 0x00, "LOGICAL UNIT NOT CONFIGURED")

/* The name of an additional sense code and qualifier; NULL when unknown. */
static inline const char *scsi_asc_name(uint8_t asc, uint8_t ascq)
{
	switch ((unsigned)asc << 8 | ascq) {
#define SCSI_ASC_CASE(a, q, name) \
	case (a) << 8 | (q): \
		return name;
		SCSI_ASC_NAMES(SCSI_ASC_CASE)
#undef SCSI_ASC_CASE
	default:
		return NULL;
	}
}

/* Peripheral device type as one lower-case word; NULL for a reserved type. */
static inline const char *scsi_type_word(uint8_t type)
{
	switch (type & 0x1F) {
	case 0x00: return "disk";
	case 0x01: return "tape";
	case 0x02: return "printer";
	case 0x03: return "processor";
	case 0x04: return "worm";
	case 0x05: return "cd/dvd";
	case 0x07: return "optical";
	case 0x08: return "changer";
	case 0x09: return "communications";
	case 0x0C: return "storage array";
	case 0x0D: return "enclosure";
	case 0x0E: return "simplified disk";
	case 0x0F: return "optical card";
	case 0x11: return "object storage";
	case 0x12: return "automation";
	case 0x1E: return "well-known lu";
	case 0x1F: return "none";
	default: return NULL;
	}
}

/* Words of the fields of a designation descriptor (page 0x83); NULL when reserved. */
static inline const char *scsi_association_word(uint8_t assoc)
{
	static const char *const w[4] = {"lu", "target port", "target device", NULL};
	return w[assoc & 3];
}
static inline const char *scsi_designator_word(uint8_t type)
{
	static const char *const w[16] = {"vendor", "t10", "eui64", "naa", "relative target port",
					  "target port group", "lu group", "md5", "scsi name", "protocol port",
					  "uuid", NULL, NULL, NULL, NULL, NULL};
	return w[type & 0x0F];
}
static inline const char *scsi_code_set_word(uint8_t code_set)
{
	switch (code_set & 0x0F) {
	case SCSI_CODESET_BINARY: return "binary";
	case SCSI_CODESET_ASCII: return "ascii";
	case SCSI_CODESET_UTF8: return "utf8";
	default: return NULL;
	}
}

#ifdef __cplusplus
}
#endif

#endif
