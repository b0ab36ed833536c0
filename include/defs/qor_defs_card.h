/*
 * The adapter models of this family: card-type codes (the number the
 * adapter attributes report in card_type and the manufacturing block holds
 * in mfg_type), model names and descriptions, and the OEM model whose boot
 * update also rebuilds its VPD image.
 *
 * Used by the library (manufacturing block, boot update), the emulator
 * (default adapters) and tools. Compiles as C11 and C++.
 */
#ifndef QOR_DEFS_CARD_H
#define QOR_DEFS_CARD_H

/*
 * X(code, model, ports, max speed in Gbps, converged, description)
 * The three models with one port are the single-port models: their
 * manufacturing block carries one WWN, all others two.
 */
#define QOR_CARD_TYPE_LIST(X) \
	X(611, "QX-611", 1, 8, 0, "QX-611 8Gbps single-port Fibre Channel host bus adapter") \
	X(612, "QX-612", 2, 8, 0, "QX-612 8Gbps dual-port Fibre Channel host bus adapter") \
	X(621, "QX-621", 1, 16, 0, "QX-621 16Gbps single-port Fibre Channel host bus adapter") \
	X(622, "QX-622", 2, 16, 0, "QX-622 16Gbps dual-port Fibre Channel host bus adapter") \
	X(624, "QX-624", 4, 16, 0, "QX-624 16Gbps quad-port Fibre Channel host bus adapter") \
	X(631, "QX-631", 1, 10, 1, "QX-631 10Gbps single-port converged network adapter") \
	X(632, "QX-632", 2, 10, 1, "QX-632 10Gbps dual-port converged network adapter") \
	X(642, "QX-642", 2, 16, 1, "QX-642 16Gbps dual-port fabric adapter") \
	X(652, "QX-652", 2, 8, 0, "QX-652 8Gbps dual-port Fibre Channel mezzanine adapter") \
	X(662, "QX-662", 2, 10, 1, "QX-662 10Gbps dual-port converged network mezzanine adapter") \
	X(672, "HX-10C2", 2, 10, 1, QOR_OEM_MODEL_DESCR)

#define QOR_CARD_TYPE_COUNT 11

/*
 * The OEM model. Its model description (the adapter attributes'
 * model_descr) marks an adapter whose boot update rebuilds the VPD image;
 * the texts below fill the VPD template used when the adapter has no VPD
 * image of its own. Each text fits its keyword's data, zero-padded.
 */
#define QOR_OEM_CARD_TYPE 672
#define QOR_OEM_MODEL_DESCR "HX-10C2 dual-port 10Gbps converged network mezzanine adapter"
#define QOR_OEM_VPD_PRODUCT_NAME "Halvard HX-10C2 Dual Port 10GbE Converged Network Mezzanine Adapter" /* 128 */
#define QOR_OEM_VPD_PART_NUMBER "HX10C2-A01"      /* PN, 16 */
#define QOR_OEM_VPD_EC_LEVEL "2"                  /* EC, 16 */
#define QOR_OEM_VPD_MFR_CODE "1HVS"               /* MN, 4 */
#define QOR_OEM_VPD_VENDOR_TEXT "HX-10C2 CNA MEZZ" /* V1, 18 */
#define QOR_OEM_VPD_FW_VERSION "02.03.00.00"      /* V2 after "FFV", 11 */
#define QOR_OEM_VPD_V3_TEXT "HVB1"                /* V3, 4 */
#define QOR_OEM_VPD_V4_TEXT "0001"                /* V4, 4 */
#define QOR_OEM_VPD_MFR_NAME "Halvard Systems"    /* V5, 39 */
#define QOR_OEM_VPD_V6_TEXT "A00"                 /* V6, 6 */
/* V7 after "DCM": the capability map, exactly 40 characters. */
#define QOR_OEM_VPD_CAPABILITY "1001FFFF0201FFFF0301FFFF0401FFFF05010000"

#endif
