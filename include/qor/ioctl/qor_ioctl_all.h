/*
 * Every request record of the library, the request codes, and the union in
 * which one request is built. Its size is that of the largest record, the
 * controller attributes (1608 bytes).
 */
#ifndef QOR_IOCTL_ALL_H
#define QOR_IOCTL_ALL_H

#include "qor_ioctl.h"
#include "qor_ioctl_aen.h"
#include "qor_ioctl_ioc.h"
#include "qor_ioctl_port.h"
#include "qor_ioctl_lport.h"
#include "qor_ioctl_rport.h"
#include "qor_ioctl_itnim.h"
#include "qor_ioctl_fcpt.h"
#include "qor_ioctl_scsi.h"
#include "qor_ioctl_ethport.h"
#include "qor_ioctl_flash.h"
#include "qor_requests.h"

typedef union qorl_ioctl_u {
	qor_ioctl_gen_t gen;
	qor_ioctl_ioc_get_version_t version;
	qor_ioctl_ioc_get_inst_t ioc_inst;
	qor_ioctl_ioc_attr_t ioc_attr;
	qor_ioctl_ioc_info_t ioc_info;
	qor_ioctl_ioc_stats_t ioc_stats;
	qor_ioctl_ioc_set_adapter_name_t adapter_name;
	qor_ioctl_ioc_fwstats_t ioc_fwstats;
	qor_ioctl_iocfc_attr_t iocfc_attr;
	qor_ioctl_iocfc_intr_t iocfc_intr;
	qor_ioctl_aen_t aen;
	/* physical ports and trunks */
	qor_ioctl_port_attr_t port_attr;
	qor_ioctl_port_cfg_topo_t port_cfg_topo;
	qor_ioctl_port_cfg_speed_t port_cfg_speed;
	qor_ioctl_port_alpa_t port_alpa;
	qor_ioctl_port_cfg_maxfrsize_t port_cfg;
	qor_ioctl_gen_t port_trunk;
	qor_ioctl_port_rnid_t port_rnid;
	qor_ioctl_port_stats_t port_stats;
	qor_ioctl_trunk_attr_t trunk_attr;
	/* logical ports */
	qor_ioctl_lport_attr_t lport_attr;
	qor_ioctl_lport_stats_t lport_stats;
	qor_ioctl_lport_iostats_t lport_iostats;
	qor_ioctl_lport_reset_stats_t lport_reset_stats;
	qor_ioctl_lport_get_rports_t lport_get_rports;
	/* remote ports */
	qor_ioctl_rport_t rport;
	qor_ioctl_rport_attr_t rport_attr;
	qor_ioctl_rport_stats_t rport_stats;
	qor_ioctl_rport_reset_stats_t rport_reset_stats;
	qor_ioctl_rport_scsi_addr_t rport_scsi_addr;
	qor_ioctl_rport_set_speed_t rport_set_speed;
	/* IT nexus */
	qor_ioctl_itnim_attr_t itnim_attr;
	qor_ioctl_itnim_iostats_t iostats;
	qor_ioctl_itnim_itnstats_t itnstats;
	qor_ioctl_itnim_ioprofile_t ioprofile;
	qor_ioctl_itnim_reset_stats_t itnim_reset_stats;
	/* fabric pass-through */
	qor_ioctl_fcpt_t fcpt;
	/* SCSI command */
	qor_ioctl_scsi_t scsi;
	/* Ethernet port and FCoE */
	qor_ioctl_ethport_stats_t ethport_stats;
	qor_ioctl_ethport_attr_t ethport_attr;
	qor_ioctl_fcport_stats_t fcport_stats;
	/* flash */
	qor_ioctl_flash_attr_t flash_attr;
	qor_ioctl_flash_t flash;
	qor_ioctl_flash_mfg_t flash_mfg;
} qorl_ioctl_t;
QOR_CHECK_SIZE(qorl_ioctl_t, 1608);

#endif
