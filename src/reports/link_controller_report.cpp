// The register block of one link controller, as the link-controller
// capability of the device space lays out each of its blocks.
//
// Three lines of the controller's own register listing carry runs of the
// object replacement character U+FFFC between field groups; they are printed
// as they stand, in UTF-8 (EF BF BC). Where the listing leaves them open:
//   - p_osc_cnt line: a run of four between p_cnt_rdy and l_p_scl_rdy;
//   - fw_send line: fw_send_c0/_c1 = bits 0/1, clrs_c0/_c1 = bits 8/9,
//     block_hw_send_c0/_c1 = bits 16/17 (the channel layout of the
//     block_clc_lsoe line before it), a run of three after each of the
//     first two groups;
//   - target access line: after tar_timeout (31) and tar_pending (30),
//     pcie_sw_regs_access = bit 29, cio_sw_regs_access = bit 28, and the
//     target address as the configuration address word lays it out:
//     tar_wr1_rd0 = bit 21, tar_cs (space) = bits 20..19, tar_port =
//     bits 18..13, tar_dw_index = bits 12..0;
//   - iecs_cmd: the command's four bytes as characters, lowest byte first
//     (the order in which a command's letters sit in memory).
#include "platform/text.h"
#include "reports/report_engine.h"

namespace tbt {
namespace reports {
namespace {

#define TBT_OBJ "\xEF\xBF\xBC"

constexpr Line kIdentityLines[] = {
    {0, "  %03x:  %08x   ee_clc_vendor_id=0x%x\n", {{23, 0}}},
    {1, "  %03x:  %08x   ee_clc_device_id=0x%x\n", {kWhole}},
    {2, "  %03x:  %08x   ee_clc_protocol_version=0x%x\n", {kWhole}},
    {3, "  %03x:  %08x   ee_clc_mode=0x%x\n", {kWhole}},
    {4, "  %03x:  %08x   ee_clc_type=0x%x\n", {kWhole}},
    {5, "  %03x:  %08x   uuid0=0x%08x\n", {kWhole}},
    {6, "  %03x:  %08x   uuid1=0x%08x\n", {kWhole}},
    {7, "  %03x:  %08x   uuid2=0x%08x\n", {kWhole}},
    {8, "  %03x:  %08x   uuid3=0x%08x\n", {kWhole}},
    {9, "  %03x:  %08x   ouuid0=0x%08x\n", {kWhole}},
    {10, "  %03x:  %08x   ouuid1=0x%08x\n", {kWhole}},
    {11, "  %03x:  %08x   ouuid2=0x%08x\n", {kWhole}},
    {12, "  %03x:  %08x   ouuid3=0x%08x\n", {kWhole}},
    {13, "  %03x:  %08x\n", {}},
    {14, "  %03x:  %08x   iecs_cmd=0x%08x ('%c%c%c%c')\n", {kWhole, {7, 0}, {15, 8}, {23, 16}, {31, 24}}},
    {15, "  %03x:  %08x   iecs_data=0x%08x\n", {kWhole}},
    {16, "  %03x:  %08x   hvreq=%d  ee_clc_port_reg_max_wats=%d\n", {bit(7), {6, 0}}},
    {17, "  %03x:  %08x   descr_head byte1=0x%02x  byte0=0x%02x\n", {{15, 8}, {7, 0}}},
    {18, "  %03x:  %08x\n", {}},
    {19, "  %03x:  %08x\n", {}},
    {20, "  %03x:  %08x\n", {}},
    {21, "  %03x:  %08x   version=0x%x\n", {kWhole}},
    {22, "  %03x:  %08x   poc_lc_mailbox=0x%08x\n", {kWhole}},
    {23, "  %03x:  %08x   lc_poc_mailbox=0x%08x\n", {kWhole}},
    {24, "  %03x:  %08x   poc_lc_csr_in_lo=0x%08x\n", {kWhole}},
    {25, "  %03x:  %08x   poc_lc_csr_in_hi=0x%08x\n", {kWhole}},
    {26, "  %03x:  %08x   lc_poc_csr_out_lo=0x%08x\n", {kWhole}},
    {27, "  %03x:  %08x   lc_poc_csr_out_hi=0x%08x\n", {kWhole}},
    {28,
     "  %03x:  %08x   p_iso_en=%d l_off_rd=%d p_mbx_rdy=%d p_csr_rdy=%d l_off_r=%d l_p_mbx_lk=%d "
     TBT_OBJ TBT_OBJ TBT_OBJ TBT_OBJ TBT_OBJ TBT_OBJ TBT_OBJ "l_p_csr_lk=%d\n",
     {bit(11), bit(10), bit(9), bit(8), bit(2), bit(1), bit(0)}},
    {29,
     "  %03x:  %08x   p_osc_cnt=%d p_l_scl=%d p_cnt_rdy=%d " TBT_OBJ TBT_OBJ TBT_OBJ TBT_OBJ
     "l_p_scl_rdy=%d l_p_scl=%d p_cnt_st=%d l_p_scl_lk=%d\n",
     {{31, 16}, {15, 12}, bit(9), bit(8), {7, 4}, bit(1), bit(0)}},
    {30, "  %03x:  %08x\n", {}},
    {31,
     "  %03x:  %08x   HPD[f=%d i=%d o=%d id=%d oe=%d p=%d] CFG1[f=%d i=%d o=%d id=%d oe=%d p=%d] CFG2[f=%d i=%d o=%d "
     "id=%d oe=%d p=%d] LSRX[f=%d i=%d id=%d p=%d]\n",
     {bit(0), bit(4), bit(8), bit(11), bit(16), {29, 28}, bit(1), bit(5), bit(9), bit(12), bit(17), {27, 26}, bit(2),
      bit(6), bit(10), bit(13), bit(18), {25, 24}, bit(3), bit(7), bit(14), {31, 30}}},
    {32,
     "  %03x:  %08x   block_clc_lsoe[crp_c0=%d crp_c1=%d cfp_c0=%d cfp_c1=%d rp_c0=%d rp_c1=%d] clc_lsoe[crp_c0=%d "
     "crp_c1=%d cfp_c0=%d cfp_c1=%d rp_c0=%d rp_c1=%d rs_c0=%d rs_c1=%d]\n",
     {bit(0), bit(1), bit(2), bit(3), bit(4), bit(5), bit(8), bit(9), bit(10), bit(11), bit(12), bit(13), bit(16),
      bit(17)}},
    {33,
     "  %03x:  %08x   fw_send_c0=%d fw_send_c1=%d " TBT_OBJ TBT_OBJ TBT_OBJ "clrs_c0=%d clrs_c1=%d " TBT_OBJ
     TBT_OBJ TBT_OBJ "block_hw_send_c0=%d block_hw_send_c1=%d\n",
     {bit(0), bit(1), bit(8), bit(9), bit(16), bit(17)}},
    {34, "  %03x:  %08x   clc_from_link_uctl_partner=0x%08x\n", {kWhole}},
    {35, "  %03x:  %08x   clc_to_link_uctl_partner=0x%08x\n", {kWhole}},
    {36, "  %03x:  %08x   clc_tar_wr_data=0x%08x\n", {kWhole}},
    {37,
     "  %03x:  %08x   tar_timeout=%d tar_pending=%d pcie_sw_regs_access=%d cio_sw_regs_access=%d tar_wr1_rd0=%d "
     "tar_cs=%d tar_port=%d tar_dw_index=%d\n",
     {bit(31), bit(30), bit(29), bit(28), bit(21), {20, 19}, {18, 13}, {12, 0}}},
    {38, "  %03x:  %08x   do_not_power_on_cio=%d got_iecs_cmd_from_sw=%d\n", {bit(1), bit(0)}},
    {39, "  %03x:  %08x   mailbox_out=0x%08x\n", {kWhole}},
    {40, "  %03x:  %08x   ee_no_eeprom=%d eep_done=%d\n", {bit(1), bit(0)}},
    {41,
     "  %03x:  %08x   cp_intrpt=%d cm_intrpt=%d perst_pin=%d disable_clkreq=%d sec_en=%d sec_strap=%d cio_rst=%d "
     "cp_ok2sx=%d ee_con_t=%d uctl_num=%d ee_prt_en=%d ee_teth_cble=%d ee_dis_uart=%d ee_byp=%d ee_pwr_src=%d "
     "ee_ln_dis=%d ee_pwr_cio_iwke=%d ee_pwr_cio_fwke=%d comm_prst_pgd=%d cp_int=%d\n",
     {bit(31), bit(30), bit(25), bit(24), bit(18), bit(17), bit(16), bit(15), bit(14), bit(13), bit(12), {11, 10},
      {9, 8}, bit(7), bit(6), bit(5), bit(4), {3, 2}, bit(1), bit(0)}},
    {42,
     "  %03x:  %08x   ee_hdpin_can_swtch=%d ee_dp_loc=%d ee_hdmi_loc=%d crux_sel=%d comb=%d src_hdmi1_dp0=%d "
     "en_cio_pwr=%d snk2_aux_n=%d snk1_aux_n=%d lpbk_mode=%d pd_req=%d pd_reqd=%d pd_ack=%d\n",
     {bit(27), bit(26), bit(25), bit(23), bit(22), bit(21), bit(20), bit(19), bit(18), {17, 16}, bit(2), bit(1),
      bit(0)}},
    {43, "  %03x:  %08x   map_rom_to_ram=%d need_to_activate_I2C_on_master=%d security_setting_method=%d\n",
     {bit(2), bit(1), bit(0)}},
    {44,
     "  %03x:  %08x   lk_uart_tx=%d blk_uart_rx=%d blk_hw_tx_ls=%d fw_lstx_oen=%d fw_lstx_o=%d hw_sent_lt_pkt=%d "
     "en_hw_rx_fsm=%d sw_rst_tx=%d sw_rst_rx=%d\n",
     {bit(9), bit(8), bit(6), bit(5), bit(4), bit(3), bit(2), bit(1), bit(0)}},
    {45,
     "  %03x:  %08x   uart_rx=%d rx_pkt_err=%d urx_fifo_f=%d urx_fifo_e=%d crc_ok_rx=%d lr_off_ln1=%d urx_fifo_do=%d "
     "rd_rx_pkt=%d st_crc_rx=%d crc_b_val_rx=%d chk_crc_rx=%d rx_pkt_idx_hd=%d\n",
     {{31, 24}, bit(19), bit(18), bit(17), bit(16), {15, 8}, bit(5), bit(4), bit(3), bit(2), bit(1), bit(0)}},
    {46,
     "  %03x:  %08x   crc_tx=%d uart_tx_data=%d crc_byte_valid_tx=%d start_crc_tx=%d transmit_tx_byte=%d "
     "uart_during_tx=%d\n",
     {{31, 16}, {15, 8}, bit(3), bit(2), bit(1), bit(0)}},
    {47, "  %03x:  %08x   uart_crc_err_cnt=%d uart_rcv_byte_cnt=%d uart_rcv_err_cnt=%d\n",
     {{31, 24}, {23, 12}, {11, 0}}},
    {48, "  %03x:  %08x   gpio_change=0x%04x\n", {{15, 0}}},
    {49, "  %03x:  %08x   gpio_change_mask=0x%04x\n", {{15, 0}}},
    {50, "  %03x:  %08x   gpio_ownership=0x%04x\n", {{15, 0}}},
    {51, "  %03x:  %08x   gpio_data_in=0x%04x\n", {{15, 0}}},
    {52, "  %03x:  %08x   gpio_data_out=0x%04x\n", {{15, 0}}},
    // The controller's listing names this register gpio_data_in as well.
    {53, "  %03x:  %08x   gpio_data_in=0x%04x\n", {{15, 0}}},
    {54, "  %03x:  %08x   gpio_invert_polarity=0x%04x\n", {{15, 0}}},
    {55, "  %03x:  %08x   clc_reg_icr=0x%08x\n", {kWhole}},
    {56, "  %03x:  %08x   clc_reg_icc=0x%08x\n", {kWhole}},
    {57, "  %03x:  %08x   clc_reg_ics=0x%08x\n", {kWhole}},
    {58, "  %03x:  %08x   clc_reg_imr=0x%08x\n", {kWhole}},
    {59, "  %03x:  %08x   ee_clc_dvalid =%d clc_ee_rd=%d clc_ee_rd_addr=0x%04x\n", {bit(24), bit(16), {15, 0}}},
    {60, "  %03x:  %08x   ee_data=0x%08x\n", {kWhole}},
    // The memory window: address, request, data in both directions.
    {61, "  %03x:  %08x   ip_wr1_rd0=%d ip_vld=%d\n", {bit(1), bit(0)}},
    {62, "  %03x:  %08x   ip_addr=0x%04x\n", {{15, 0}}},
    {63, "  %03x:  %08x   ip_wdata=0x%08x\n", {kWhole}},
    {64, "  %03x:  %08x   ip_rdata=0x%08x\n", {kWhole}},
    {65, "  %03x:  %08x   ucode_done_cb=%d clc_8051_sw_reset=%d\n", {bit(1), bit(0)}},
};
static_assert(formatsMatch(kIdentityLines));

#undef TBT_OBJ

constexpr uint32_t kPatchFirst = 66;
constexpr uint32_t kPatchEntries = 32;
constexpr Line kPatchEntry{0, "  %03x:  %08x   ip_patch_%02x : valid = %d addr_to_patch=0x%08x\n",
                           {kArgument, bit(31), {11, 0}}};
static_assert(formatMatches(kPatchEntry));

constexpr Line kControlLines[] = {
    {98, "  %03x:  %08x   data_rw=0x%04x word_addr=0x%04x write1_read0=%d start_done=%d\n",
     {{31, 16}, {15, 2}, bit(1), bit(0)}},
    {99,
     "  %03x:  %08x   msg_v=%d at1_lt0=%d error_msg=%d rd_to=%d rd_data_rdy=%d wr1_rd0=%d length=%d reg_addr=0x%02x "
     "stx_byte=0x%02x\n",
     {bit(31), bit(30), bit(26), bit(25), bit(24), bit(23), {21, 16}, {11, 8}, {3, 0}}},
};
static_assert(formatsMatch(kControlLines));

// Runs of repeated registers: first double word, count, line (the entry
// number is the line's argument).
struct Run {
  uint32_t first;
  uint32_t count;
  Line line;
};
constexpr Run kRuns[] = {
    {100, 16, {0, "  %03x:  %08x   wdata%02d=0x%08x\n", {kArgument, kWhole}}},
    {116, 16, {0, "  %03x:  %08x   rdata%02d=0x%08x\n", {kArgument, kWhole}}},
    {132, 4, {0, "  %03x:  %08x   sw_fw_mailbox_data_in%d=0x%08x\n", {kArgument, kWhole}}},
    {136, 4, {0, "  %03x:  %08x   sw_fw_mailbox_data_out%d=0x%08x\n", {kArgument, kWhole}}},
    {140, 4, {0, "  %03x:  %08x   \n", {}}},
};
static_assert(formatMatches(kRuns[0].line) && formatMatches(kRuns[1].line) && formatMatches(kRuns[2].line) &&
              formatMatches(kRuns[3].line) && formatMatches(kRuns[4].line));

constexpr Line kStateLines[] = {
    {144, "  %03x:  %08x   fw_version=0x%02x\n", {{7, 0}}},
    {145, "  %03x:  %08x   \n", {}},
    {146, "  %03x:  %08x   \n", {}},
    {147, "  %03x:  %08x   \n", {}},
    {148, "  %03x:  %08x   \n", {}},
    {149, "  %03x:  %08x   power_up_state=%d poc_wake_cause=0x%04x\n", {bit(16), {15, 0}}},
    {150,
     "  %03x:  %08x   CM_go2sx=%d port_up=%d lk_2_xd_cfgd=%d lk_2_cfgd=%d lk_1_xd_cfgd=%d lk_1_cfgd=%d "
     "sx_wake_events=0x%02x\n",
     {bit(31), bit(30), bit(21), bit(20), bit(17), bit(16), {7, 0}}},
    {151, "  %03x:  %08x   Security Level = %d\n", {{1, 0}}},
    {152, "  %03x:  %08x   cp_out_of_reset=%d\n", {bit(0)}},
    {153, "  %03x:  %08x   cp_upsteam_unplugged=%d\n", {bit(0)}},
    {154, "  %03x:  %08x   sx_entry_timeout_seconds=%d wake_n_assertion_time_ms=%d\n", {{23, 16}, {11, 0}}},
};
static_assert(formatsMatch(kStateLines));
constexpr uint32_t kRawFrom = 155;

// The patch table: once one entry cannot be read, that entry and every one
// after it show "ERROR" in place of their value.
bool printPatchTable(RegisterPrinter& p) {
  for (uint32_t n = 0; n < kPatchEntries; ++n) {
    const uint32_t dw = kPatchFirst + n;
    if (p.status() != status::kSuccess || !p.printAt(dw, kPatchEntry, n))
      p.sink().write(textf("  %03x:  ERROR\n", p.printedIndex(dw)));
  }
  return p.status() == status::kSuccess;
}

}  // namespace
}  // namespace reports

using namespace reports;

void ThunderboltUserClientUtils::linkControllerCapabilityAtIndex(uint32_t index, RouterHandle& andRouterHandle,
                                                                 uint32_t forLength, ReportSink& sink) {
  if (setUpReport(andRouterHandle) != status::kSuccess) return;
  RegisterPrinter p(andRouterHandle, 0, kDeviceSpace, index, relativeAddressing_, sink);
  if (!p.print(kIdentityLines) || !printPatchTable(p) || !p.print(kControlLines)) return;
  for (const Run& run : kRuns)
    for (uint32_t n = 0; n < run.count; ++n)
      if (!p.printAt(run.first + n, run.line, n)) return;
  if (!p.print(kStateLines)) return;
  p.plainRange(kRawFrom, forLength);
}

}  // namespace tbt
