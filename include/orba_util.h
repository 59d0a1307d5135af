/* liborba_util: the common toolbox of a small Linux wireless router.
 *
 * Conventions
 *  - Every function runs to its end on the caller's thread. Buffers belong to
 *    the caller; their least size is given in bytes with the terminator.
 *  - A web getter is `int f(char *out, int argc, char **argv)`: the web
 *    server's page templates call it with an output buffer and their argument
 *    list. It writes one text and returns 1 unless its comment says otherwise.
 *  - "Settings" are keys of the store that libnvram reaches, in space 1 unless
 *    another space is named.
 *  - Shell commands run with their output thrown away and their exit status
 *    unread, through doSystem, unless the comment says "directly".
 *  - Failures. A setting or a file that cannot be read counts as missing, one
 *    that ends early as ending there, an answer of a program or a driver that
 *    cannot be had as none. What cannot be written or started is left out and
 *    the rest done; the result is then as if it had worked. A comment that says
 *    something else about a failure goes before this. Whatever fails, texts
 *    are terminated.
 */
#ifndef ORBA_UTIL_H
#define ORBA_UTIL_H

#include <stdint.h>
#include <time.h>

#ifdef __GNUC__
#define ORBA_PRINTF(text, first) __attribute__((__format__(__printf__, text, first)))
#else
#define ORBA_PRINTF(text, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ==== core: commands, console, rule lists, timers ==================================== */

/* Formats a command line as printf does, appends " 1>/dev/null 2>&1" and hands
 * it to the shell; waits for its end. A line that does not fit 1,023 characters
 * with that is not run, nor is one that holds " ''-", as this library spells a
 * value that a program would take for an option; a trace on the console says
 * so. Returns the number of characters formatted, whatever became of the
 * command. Text that comes from outside must have been quoted for the shell by
 * the caller. */
int doSystem(const char *fmt, ...) ORBA_PRINTF(1, 2);

/* The same with " 1>/dev/null 2>&1 &": does not wait for the command. */
int doSystemBackGround(const char *fmt, ...) ORBA_PRINTF(1, 2);

/* The same as doSystem. */
int doSystemWithoutConsole(const char *fmt, ...) ORBA_PRINTF(1, 2);

/* Writes a formatted trace to /dev/console, without adding a newline; text
 * beyond 4,095 characters is left out. Without a console nothing is written.
 * Returns the number of characters formatted. */
int debug(const char *fmt, ...) ORBA_PRINTF(1, 2);

/* "SSID" and 1 make "SSID1". Returns a static buffer of 32 bytes that the next
 * call overwrites; a longer result is cut to 31 characters. */
char *racat(const char *prefix, int n);

/* The process id in /var/run/mini_httpd.pid, or 0 when the file is missing or
 * does not begin with a number. */
int readHttpdPid(void);

/* The refresh period that the web server has set; 0 until it does. */
extern int refresh_info;

/* Writes refresh_info in decimal to `dst` (12 bytes). Returns 1. */
int getRefreshInfo(char *dst);

/* Whether remote management is held to one port: always 0. */
int getOnePortOnly(void);

/* The number of pieces of `value` between separators: 0 for NULL, otherwise one
 * more than there are separators, so 1 for the empty text. */
int getNums(const char *value, char sep);

/* getNums(value, ';'). */
int getRuleNums(const char *value);

/* The number of records of a rule list: 0 for NULL and the empty text. */
int getValueCount2(char *value);

/* `value` with its record `index` (from 0) replaced by `newRecord`; a list that
 * is shorter is filled up with empty records. NULL counts as empty. Returns a
 * static buffer of 2,048 bytes that the next call of setNthValue overwrites. Serves lists
 * of up to 8 records and records of up to 255 characters: longer records are
 * cut, and with more records or an index of 8 and above the list comes back
 * unchanged (at most its first 2,047 characters). */
char *setNthValue(int index, char *value, char *newRecord);

/* Removes the records numbered in `indexes` (`count` numbers from 0, ascending)
 * from `value` in place. An index out of order or repeated is passed over.
 * Removing record 0 also removes a ';' that then stands in front, whatever
 * `sep` is. Returns 0. */
int deleteNthValueMulti(int *indexes, int count, char *value, char sep);

/* Replaces record `index` of the setting `key` as setNthValue does and buffers
 * the result; nothing is committed. Returns nvram_bufset's result, or -1 with
 * nothing stored when the list is beyond setNthValue's limits. */
int STF(int index, const char *key, char *newRecord);

/* The same in the given space. */
int STFs(int space, int index, const char *key, char *newRecord);

/* The number of records of a setting, in decimal, to `dst` (12 bytes); "0" when
 * the setting is missing or empty. Return 1. They read IPPortFilterRules,
 * websHostFilters and PortForwardRules. */
int getIPPortRuleNums(char *dst);
int getHostKeywordNums(char *dst);
int getPortForwardRuleNums(char *dst);

/* The number of records of aclRules; 0 when it is missing or empty. */
int getAclRuleNums(void);

/* Strips blanks, tabs and newlines at both ends of `text` in place; a text that
 * holds nothing else is left as it is. Returns the number of characters kept
 * when there was something to strip in front, otherwise the original length
 * less one (0 for a text left as it is). */
int trim(char *text);

/* The `n`-th (from 0) token of `text` between any of `delims`, when it begins
 * with a decimal digit; NULL otherwise. Cuts `text` and uses strtok's state. */
char *getField(char *text, const char *delims, int n);

/* Installs `handler` for SIGALRM and arms the process's real-time interval
 * timer, first expiry and period alike, replacing what was armed. `microseconds`
 * goes to the kernel as it is and must stay below 1,000,000. Returns
 * setitimer's result. */
int setTimer(unsigned int microseconds, void (*handler)(int));

/* The same, once, after whole seconds; 0 disarms the timer. */
int setTimerOnce(unsigned int seconds, void (*handler)(int));

/* The same as setTimer with seconds and microseconds. */
int setFullTimer(unsigned int seconds, unsigned int microseconds, void (*handler)(int));

/* Disarms the timer; the handler stays installed. Returns setitimer's result. */
int stopTimer(void);

/* ==== net: interfaces, addresses, routes ============================================== */

/* The names of interfaces. Each getter reads the settings afresh and writes at
 * most 31 characters to `dst` (32 bytes). The WANs are numbered 1 to 4; a name
 * that the settings do not give is the empty text unless said otherwise. */

/* The LAN interface in the present OperationMode: "br0", or "eth2" in mode 2.
 * With a missing or unknown mode the answer of the previous call, "br0" at
 * first. Returns a constant text. */
const char *getLanIfName(void);

/* The Ethernet-side device of WAN 1, from OperationMode, vlanEnabled and
 * wan1Vid. With a missing or unknown mode `dst` is left as it was. Returns 1. */
int getWanIfName(char *dst);

/* The VLAN device of WAN `n` (2 to 4), from wanNVid; empty for another `n`.
 * Returns 1. */
int getWan2IfName(char *dst, int n);

/* "ppp0" when wanConnectionMode is PPPOE, L2TP or PPTP; getWanIfName otherwise.
 * Returns 1. */
int getWanIfNamePPP(char *dst);

/* "ppp1" to "ppp3" when wanConnectionModeN is PPPOE, L2TP or PPTP;
 * getWan2IfName otherwise. Returns 1. */
int getWan2IfNamePPP(char *dst, int n);

/* The interface of the WAN that default_wan names. Returns `dst`. */
char *getDefaultWanIfName(char *dst);

/* wanConnectionMode and wanAddressType of the WAN that default_wan names, as
 * stored, cut to 31 characters. Return 1. */
int getDefaultWanConnectionMode(char *dst);
int getDefaultWanAddressType(char *dst);

/* The label of an interface in the routing table view: "LAN", "WAN", "Unknown"
 * when OperationMode is missing, or `ifname` itself. */
const char *getLanWanNamebyIf(const char *ifname);

/* Addresses are text: IPv4 as a dotted quad (buffers of 16 bytes), MAC
 * addresses as "00:1A:2B:3C:4D:5E" in capitals (18 bytes). Every call asks the
 * kernel and the settings afresh. */

/* The IPv4 address, netmask and MAC address of an interface, to `dst` (16, 16
 * and 18 bytes). Return 0, or -1 with `dst` as it was when the kernel has no
 * such interface or it has no address. */
int getIfIp(const char *ifname, char *dst);
int getIfNetmask(const char *ifname, char *dst);
int getIfMac(const char *ifname, char *dst);

/* The MAC address of getLanIfName() to `dst` (18 bytes), empty when it has
 * none. Returns 1. */
int getLanMac(char *dst);

/* The MAC address (18 bytes) of the Ethernet-side device, and the IPv4 address
 * and netmask (16 bytes) of the interface, of the WAN that default_wan names.
 * Return 1, or 0 with the empty text. */
int getDefaultWanMac(char *dst);
int getDefaultWanIp(char *dst);
int getDefaultWanNetmask(char *dst);

/* The gateway of the WAN that sends through `ifname`, to `dst` (16 bytes):
 * wan_gateway of a STATIC connection (its first 15 characters), otherwise what
 * the first line of /var/wanN.info says before its ':', otherwise "0.0.0.0".
 * Returns 0, or -1 with `dst` as it was and a line on standard error when
 * `ifname` is no WAN. */
int getGatewayByInterface(const char *ifname, char *dst);

/* The gateway behind an interface that is up, to `dst` (16 bytes, which the
 * caller sets to the empty text): getGatewayByInterface for a WAN,
 * getWanDefaultGateway for any other. Returns 0 when `dst` is not empty, -1
 * when it is or when the interface has no address. */
int getGateway(const char *ifname, char *dst);

/* The gateway of the kernel's default route, to `dst` (16 bytes): empty when
 * that route has none, as it was when no default route is up. Returns 0, or -1
 * with `dst` as it was when /proc/net/route cannot be read or has a malformed
 * line first. */
int getWanGateway(char *dst);

/* The same, but without a default route `dst` is left with the gateway of the
 * last route that is up, often the empty text. Malformed lines and a NULL `dst`
 * end the search with a trace on the console; when /proc/net/route cannot be
 * opened `dst` is as it was. The result has no meaning. */
int getWanDefaultGateway(char *dst);

/* 1 when the WAN port has link, 0 when it has none or the switch gives no
 * answer. Runs "switch reg r 3608". */
int getWANLinkStatus(void);

/* The MAC address that the kernel's ARP table has for `ip`, to `dst` (18
 * bytes); "00:00:00:00:00:00" when it has none. The result has no meaning. */
int arplookup(const char *ip, char *dst);

/* Has the gateway behind "br0" resolved again: runs "arp -d" directly and
 * "arping" in the background. Returns 1 when it was resolved before, 0 when it
 * was not or no gateway is known (nothing is run then). */
int wanarplookup(void);

/* Buffers the LAN address as own_ip_addr in `space`, in space 1 the LAN
 * interface as EAPifname and PreAuthifname too, and commits the space. Does
 * nothing without OperationMode, without RADIUS_Server in `space` or without a
 * LAN address; prints "not op mode\n" when the mode is not 0, 1 or 2. The
 * result has no meaning. */
int updateFlash8021x(int space);

/* Switches PPPoE pass-through on for the WAN that pppoeREnabled names (1 to 4),
 * when the WAN port has link, its wanConnectionModeN is PPPOE and wanNEnable is
 * 1; switches it off otherwise. Moves the WAN's device into or out of br0 and
 * rebuilds the ebtables chains pppoePassThrough. The result has no meaning. */
int orba_pppoeRelay(void);

/* Static routes. RoutingRules holds records of seven fields: destination,
 * netmask, gateway (may be empty), side ("WAN" or another text), interface, and
 * two that the web pages keep there. Fields count up to 31 characters, records
 * up to 255. */

/* Deletes the kernel's routes that RoutingRules names, then adds every complete
 * record: running it twice leaves each route once. A record of the WAN side is
 * not installed outside gateway mode (OperationMode 1): "Skip WAN routing rule
 * in the non-Gateway mode: " and the command are printed instead. Nothing is
 * added when /proc/net/route cannot be opened or has a malformed line ("format
 * error\n" is printed). The result has no meaning. */
int RoutingInit(void);
int staticRoutingInit(void);

/* The index (from 0) of the record of RoutingRules with exactly this
 * destination, netmask and interface, or -1. */
int getIndexOfRoutingRule(char *dest, char *netmask, char *ifname);

/* Adds the routes of StaticRoutingRules, records of six fields: enable flag (one
 * digit), name, destination, netmask (empty: a host), gateway (empty: the one
 * that the interface has now) and "br0" or the number of a WAN. Returns 2, or 0
 * when the setting is missing or empty. */
int executeStaticRoute(void);

/* Adds (`add` not 0) or deletes one network route with "route". An empty
 * netmask stands for 255.255.255.255; the gateway is left out only when it is
 * "0.0.0.0". Returns 0. */
int doAddStaticRoute(const char *dest, const char *netmask, const char *gateway, const char *ifname,
                     int add);

/* Policy routes. PolicyRoutingRules holds records of eight fields: source
 * netmask and address, source port (0: any), source MAC, protocol number (-1:
 * any), side ("WAN", "WAN2" to "WAN4", otherwise the LAN), the interface that
 * the rule was last installed with, and its name. Records count up to 127
 * characters. The n-th record has the mark (n + 1) << 29 in 32 bits, so only
 * six records have marks of their own; priority and table are 201 + n. */

/* Removes and installs again every complete record of PolicyRoutingRules.
 * Returns -1, or 0 when the setting is missing or empty. */
int executePolicyRoute(void);

/* Installs or removes the `n`-th (from 1) policy rule: its ebtables rule in the
 * chain Policy_Route, its ip rule, the default route in its table (through a
 * pipe) and its line in /etc/iproute2/rt_tables. `action` is 0 to remove, 1 to
 * add, another number to add with the default route replaced. Empty texts,
 * port "0" and protocol "-1" match anything; `side` is not used. When the table
 * cannot be named nothing is run but "mkdir", and a trace on the console says so. */
void doPolicyRoutingAction(const char *srcIp, const char *srcMask, const char *srcPort,
                           const char *srcMac, const char *proto, const char *side,
                           const char *ifname, const char *name, int n, int action);

/* Removes the lines of /etc/iproute2/rt_tables that hold the number and "pf_"
 * with the name (its first 63 characters), and leaves all others as they are.
 * A new file takes the old one's place, or where it cannot (a mount, a link, a
 * full or read-only folder) the old one is written anew; owner, group, mode and
 * links stay. When the file cannot be read or written it stays whole and a
 * trace goes to the console. */
void doPolicyRoutingRemove(int tableNumber, const char *name);

/* srvName to srvName4 with "|" between them, to `dst` (128 bytes): "b||d".
 * Empty names in front leave no bar. Returns 1. */
int wanSrvName(char *dst);

/* The routing page's table as one text in double quotes, to `dst` (4,096
 * bytes; a longer one is cut): the kernel's routes that are up, then the
 * records of RoutingRules that the kernel does not have. Rows stand between
 * ';' and have twelve columns: interface, destination, gateway, netmask, flags,
 * references, uses, metric, index in RoutingRules (-1: in none), side, 0 for an
 * active route and 1 for another, comment (" " when there is none). A quote and
 * a "<" of their texts are written "&quot" and "&lt", a backslash and control
 * characters "\x5c", for a script that writes them into a page. Returns 1; with
 * "format error\n" printed and the empty text when /proc/net/route has a malformed
 * line; -1 with `dst` as it was when the file cannot be opened or memory is
 * short. */
int getRoutingTable(char *dst);

/* ==== firewall ======================================================================== */

/* The firewall is rebuilt as a whole, or feature by feature: the feature's
 * flush, then its run. Commands are not checked, and each may be repeated.
 * Unless said otherwise the results mean nothing; settings that are missing
 * count as "0" or "off". */

/* Takes down whatever firewall there was and builds it anew from the settings:
 * the chains of iptables and ebtables, then the rules of every feature below,
 * then nat.sh, port forwarding and DMZ. Loads the SIP connection-tracking
 * modules when SIPALGEnable is 1 and this process has not done so, and unloads
 * them when it is 0 and this process had loaded them; without SIPALGEnable
 * prints a warning. Reads firewallAction ("DROP" or "ACCEPT", what filter rules
 * do): FORWARD's policy is the opposite, and stays as it is for another value. */
int firewall_init(void);

/* Empties the firewall's chains, sets the policies as firewall_init does and
 * removes the nat chains of port forwarding and DMZ. The MAC filter and the
 * policy routes stay hooked, the SIP modules loaded. */
int firewall_fini(void);

/* Empties macipport_filter and macipport_input_filter. */
int iptablesIPPortFilterFlush(void);

/* Turns IPPortFilterRules into rules of those two chains, each behind a logging
 * twin, and adds the rules that DefaultFirewallPolicy asks for. Records that
 * cannot be understood are passed over. Without IPPortFilterRules prints a
 * warning and makes no rule. Also reads firewallAction, SPIFWEnabled and
 * IPPortFilterType ("WAN_TO_WAN": for traffic to the router itself). */
int iptablesIPPortFilterRun(void);

/* Writes the command of one filter rule to `output`, a buffer of `size` bytes;
 * 1,024 hold the longest. A rule that does not fit gives the empty text. MAC
 * addresses with the end of a range, IP addresses with a mask or prefix length
 * to go behind "/", ports with the end of a range; NULL, "" and 0 match
 * everything. `protocol` is 1 TCP, 2 UDP, 4 ICMP or 5 any, `action` 1 accept or
 * 0 drop; with another of either the command has no target. Reads
 * IPPortFilterType and SPIFWEnabled. */
void makeIPPortFilterRule(char *output, int size, const char *srcMac, const char *srcMacEnd,
                          const char *dstMac, const char *dstMacEnd, const char *srcIp,
                          const char *srcMask, int srcPort, int srcPortEnd, const char *dstIp,
                          const char *dstMask, int dstPort, int dstPortEnd, int protocol,
                          int action);

/* 1 when `text` is six pairs of hexadecimal digits with ":" between them;
 * otherwise, and for NULL, 0. */
int isMacValid(const char *text);

/* 1 when `text` is "any", "any/0" or an IPv4 address, alone or with "/" and a
 * prefix length of 32 at most; otherwise, and for NULL, 0. Prints a message
 * when only the address is wrong. Looks at the first 32 characters. */
int isIpNetmaskValid(const char *text);

/* Puts the defences that the settings ask for into malicious_filter,
 * malicious_input_filter and PING_DEATH: WANPingFilter and LANPingFilter,
 * BlockPortScan, BlockSynFlood (SYN cookies on), BlockPingofDeath, BlockLAND
 * (only while the WAN is up and has its address). Does nothing when
 * WANPingFilter, BlockPortScan or BlockSynFlood is missing. */
int iptablesMaliciousFilterRun(void);

/* Empties those chains but for the jumps of TCP SYN packets, and switches SYN
 * cookies off. The rule for the answers to the router's own connections goes
 * too; only firewall_init brings it back. */
int iptablesMaliciousFilterFlush(void);

/* Appends to FORWARD the rules that fit TCP segment sizes to PPP links. Reads
 * wanConnectionMode and, for PPPOE, wan_MTU when wan_MTU_manaul is 1. Traces
 * interface, mode and MTU on the console. */
int iptablesPathMTU(void);

/* Lets DHCP servers on the WAN side answer the relay when dhcpEnabled is "2". */
int iptablesDHCPRelayChainRun(void);
int iptablesDHCPRelayChainFlush(void);

/* Empty the chains of one feature. iptablesDMZFlush also makes the DMZ program
 * forget its state. */
int iptablesDMZFlush(void);
int iptablesPortForwardFlush(void);
int MACFilterFlush(void);

/* Port forwarding and DMZ. Inbound traffic is taken from the first WAN when
 * defaultRouteNum is 1, from the second one otherwise. */

/* Builds the NAT and the filter rules of PortForwardRules, a list of
 * "LAN address,first port,last port or 0,TCP | UDP | TCP&UDP"; another protocol
 * text repeats the one of the rule before. Prints a line for an address that is
 * none. With PortForwardRules missing, traces a warning on the console. */
void iptablesPortForwardRun(void);

/* Gives what no rule forwards to the DMZ host, as DMZEnable says: "1" by rules,
 * from DMZAddress, DMZAvoidTCPPort80 and RMWWWServerPort; "2" by /bin/super_dmz,
 * which gets the ports that are forwarded already, from PortForwardEnable,
 * PortForwardRules ("?,first port,last port or 0,1 TCP | 2 UDP | 3 both"),
 * SinglePortForwardEnable, SinglePortForwardRules ("?,port,?,protocol") and
 * DMZAvoidTCPPort80. When those ports do not fit one command, super_dmz is not
 * started and the console says so. Prints a warning when DMZEnable is missing,
 * or DMZAddress or DMZAvoidTCPPort80 in mode "1". The result has no meaning. */
int iptablesDMZRun(void);

/* A simpler DMZ, for programs that do not build the whole firewall.
 * iptablesDMZInit makes the nat chains port_forward and DMZ and hooks them in
 * front of PREROUTING. RT_iptablesDMZRun fills them for the first WAN when
 * natEnabled is "1" and DMZAddress is not empty. RT_makeDMZRule makes its three
 * rules; of its arguments only the interface and the DMZ host's address are
 * used. */
void iptablesDMZInit(void);
void RT_iptablesDMZRun(void);
void RT_makeDMZRule(char *buffer, int size, const char *wanIfName, const char *wanAddress,
                    const char *dmzAddress, int flag);

/* Writes to `output` (1,024 bytes) one HTML note for each of the router's own
 * services whose port a record of PortForwardRules takes: HTTP, HTTPS, TELNET,
 * FTP and SNMP, from RMWWWServerPort, RMHTTPSServerPort, RMTELNETServerPort,
 * RMFTPServerPort and snmp_serverPort. Here the record's ports stand in fields
 * 4 and 5 (from 1) and its protocol in field 6: 1 TCP, 3 both; others count as
 * no TCP. ModelName stands in the notes as stored; a note that does not fit any
 * more is left out. Returns 1. */
int showPortForwardRedirectedWarning(char *output);

/* Management services and who may reach them. The results have no meaning. */

/* Empties MCL_FILTER and MCL_IPCHAIN and fills them: setServiceControl for
 * httpMode, ftpMode, telnetMode, snmpMode, icmpMode, sshMode and tftpMode (0
 * when missing), then iptablesAclRun. */
int iptablesMclRun(void);

/* Appends one service's rules to MCL_FILTER. `mode`: 0 LAN only, 1 WAN only, 3
 * nowhere, any other value everywhere. `protocol`: "tcp", "udp", or "icmp" for
 * echo requests, which have no `port`. Allowed packets are accepted, or left to
 * the trusted addresses when aclMode is not 0. */
int setServiceControl(unsigned int mode, const char *protocol, int port);

/* Puts the jump to MCL_FILTER in front of MCL_IPCHAIN. When aclMode is 1, also
 * accepts the addresses and ranges ("a-b") of aclRules there and drops the
 * management ports, TFTP's excepted, for everyone else. */
int iptablesAclRun(void);

/* Lets answers to the router's own connections in from the first WAN, when
 * OperationMode is "1", RemoteManagement is not 1 and SPIFWEnabled is not 0. */
int iptablesRemoteManagementRun(void);

/* User filters. The results have no meaning. */

/* Fills ebtables' MAC_Filter from MACFilterRules: MacFilterAction "DROP" blocks
 * the listed addresses, "ACCEPT" all others. An empty record ends the list.
 * Does nothing when MACFilterRules is missing or the action is another. */
int MACFilterRun(void);

/* Fills web_filter: the content classes of websFilterProxy, websFilterJava,
 * websFilterActivex and websFilterCookies, the URLs of websURLFilters and, when
 * websHostFiltersEnable is "1", the hosts of websHostFilters; content and hosts
 * not for websFilterTrustIP, unless it is "0.0.0.0". Does nothing when one of
 * these eight settings is missing. */
int iptablesWebsFilterRun(void);

/* Adds `host` to the end of websHostFilters, commits, and builds web_filter
 * afresh. Does nothing for NULL, for a text that contains ';', and without
 * memory for the longer list. */
void websHostFilter(const char *host);

/* Takes the record `index` (from 0) out of websHostFilters, commits, and builds
 * web_filter afresh. Does nothing when the list is missing or empty; an index
 * past its end takes nothing out. */
void websHostFilterDelete(int index);

/* Layer-7 protocol patterns. */

/* The patterns in /etc_ro/l7-protocols, as LoadLayer7FilterName found them:
 * "file#name#description" separated by ';', the file without its ".pat". */
extern char l7name[8192];

/* Fills l7name in the directory's order; what does not fit is cut. Empty
 * without the directory. Prints as getNameIntroFromPat does. */
void LoadLayer7FilterName(void);

/* "name#description" from the first line, "# name - description", of the
 * pattern file `fileName` (with its ".pat", without its directory). "N/A#N/A"
 * and a printed warning when the line has another form or more than 510
 * characters; NULL when the file cannot be opened. Returns a static buffer of
 * 512 bytes that the next call overwrites, or a constant text. */
const char *getNameIntroFromPat(const char *fileName);

/* LoadLayer7FilterName, and a copy of l7name in `output` (8,192 bytes).
 * Returns 0. */
int getLayer7Filters(char *output);

/* ==== wireless: channels, survey, radio =============================================== */

/* Channels offered by the web pages: option elements for the configured region,
 * appended to the text in `out`, which must hold at least 2,048 bytes in all and
 * begin empty. Each is "<option value=C >..." or "<option value=C selected>..."
 * for the channel that the setting Channel names, without anything between them;
 * an unknown region offers nothing. The 5 GHz list reads CountryRegionABand, the
 * other two CountryRegion; its value "4" puts one option, for channel 14, with a
 * newline behind it in place of whatever `out` held. */
int getWlan11aChannels(char *out, int argc, char **argv);
int getWlan11bChannels(char *out, int argc, char **argv);
int getWlan11gChannels(char *out, int argc, char **argv);

/* The channel a page should show, to `out` (32 bytes): "0" when the setting
 * AutoChannelSelect is "1"; otherwise the setting Channel as stored, cut to 31
 * characters. "9" when AutoChannelSelect is missing, or Channel where it counts. */
int getWlanChannel(char *out, int argc, char **argv);

/* What this build of the firmware has, to `out` (2 bytes): the repeater page,
 * the mesh page and three antennas ("0" each), the number of networks the radio
 * can announce ("8"), several networks at all ("1"), sixteen of them ("0"). */
int getWlanApcliBuilt(char *out, int argc, char **argv);
int getMeshBuilt(char *out, int argc, char **argv);
int is3t3r(char *out, int argc, char **argv);
int getMaxBssidNum(char *out, int argc, char **argv);
int getMBSSIDBuilt(char *out, int argc, char **argv);
int get16MBSSIDBuilt(char *out, int argc, char **argv);

/* Channel numbers and their centre frequencies in kHz, 2.4 GHz first; to be
 * searched from the front up to G_nChanFreqCount entries. */
struct ChannelFrequency {
  uint32_t channel;   /* as the radio counts them */
  uint32_t kilohertz; /* its centre frequency */
};
extern const struct ChannelFrequency ChannelFreqTable[53];
extern const int G_nChanFreqCount;

/* Queries, or sets, one value of the 2.4 GHz driver. `oid` is the value's 16-bit
 * number, `socket` an open datagram socket, `ifname` an interface such as "ra0"
 * (at most 15 characters count); `buffer` and its `length` in bytes (0 to
 * 65,535) take the answer or hold what is to be set, in the driver's own layout.
 * Return the ioctl's result: 0, or negative with errno. The third is the first
 * under the name that access-point code uses. */
int OidQueryInformation(int oid, int socket, const char *ifname, void *buffer, int length);
int OidSetInformation(int oid, int socket, const char *ifname, void *buffer, int length);
int ApOidQueryInformation(int oid, int socket, const char *ifname, void *buffer, int length);

/* The channel that the radio is on, on ra0; 0 when the driver does not tell. */
int getOperatingChannel(void);

/* The same in decimal, to `out` (12 bytes). Returns 1. */
int getWlanOperatingChannel(char *out);

/* The MAC address, as "00:1A:2B:3C:4D:5E" to `out` (18 bytes): of ra0, of "ra"
 * and argv[0], of the interface argv[0]. Return 1, or 0 with the empty text when
 * there is no such interface. */
int getWlanCurrentMac(char *out);
int getWlanMac(char *out, int argc, char **argv);
int getWiFiMac(char *out, int argc, char **argv);

/* A signal strength in dBm as quality in percent: 100 from -50 up, 0 below -90. */
unsigned int ConvertRssiToSignalQuality(int rssi);

/* Escapes `text` in place, so that it can stand in HTML and in a JavaScript
 * string: quotes, '&', '<', '>', '/', ';', backslashes and control characters
 * become character references of up to six characters. The buffer holds 193
 * bytes, enough for a text of 32; of a longer one what would not fit is left
 * out. Returns `text`. */
char *ConverterStringToDisplay(char *text);

/* Has ra0 look for networks and prints what it found as the answer to a web
 * request: a header line and a JavaScript array of objects with the texts ssid,
 * bssid, rssi (percent), channel, encryption, auth and network_type. A network on
 * a frequency outside ChannelFreqTable, or a damaged record, ends the list; the
 * comma in front of it stays. Takes 4 to 8 seconds, and one more for each time
 * that the driver is not ready. Returns 0, with nothing printed when no network
 * was found; -1 with nothing printed and a trace on the console when the driver
 * fails or memory is short. */
int printStaBssidList(void);

/* ==== wireless: Wi-Fi Protected Setup ================================================= */

/* Restarting the 2.4 GHz radio. After a change of the wireless settings:
 * updateFlash8021x(1), "wlan.sh", restart8021XDaemon(1) and WPSRestart(), whose
 * result it returns. */
int WlanRestart(void);

/* At boot: WPSRestart(), then sleeps 3 seconds. Returns sleep's result. */
int wlan_init(void);

/* Restarts the 802.1X authenticator rt2860apd when one of the first BssidNum
 * records of AuthMode is "WPA", "WPA2" or "WPA1WPA2", or one of IEEE8021X is "1";
 * otherwise only stops it. Does nothing when BssidNum is missing or `space` is
 * not 1. */
void restart8021XDaemon(int space);

/* Brings "ra0" down, directly, when the first record of WlanEnabled is "0", and
 * up otherwise. Returns 0. */
int InitWireless_ra0(void);

/* Joins the 2.4 GHz interfaces to the bridges br0 and br1 as WirelessOPMode
 * ("1" access point, "2" client, "3" repeater) and OperatingBandAP,
 * OperatingBandCli or OperatingBandRepeater ask. All commands run directly.
 * Returns 0. */
int wlanModeChange2_4_init(void);

/* Wi-Fi Protected Setup (WPS). Its flags and counters are one set for the
 * process, and so is the interval timer that drives the monitors. */

/* Set the flag "this access point is configured" (0 or 1) and the flag "an
 * enrollee run is in progress" (0 or 1). */
void setVarWscConfigured(int value);
void setVarIsEnrollee(int value);

/* Stop the interval timer and forget how far the access point's monitor, or the
 * client's, had come. */
void resetTimerAll(void);
void resetTimerAllApCli(void);

/* The access point's PIN as the driver of `ifname` ("ra0") has it; 0 and a trace
 * on the console when it does not answer. */
unsigned int getAPPIN(const char *ifname);

/* The driver's WPS status: 1 idle, 2 failed, 3 started, 34 configured, 265 two
 * push buttons at once. 0 and a trace on the console when it does not answer. */
int getWscStatus(const char *ifname);

/* Fills the `length` bytes at `record` (105 for a whole one, at any alignment)
 * with the WPS configuration in use. Little-endian, by byte offset: 0 state
 * (16 bits; 2 configured by WPS, 3 not known), 2 SSID (text, 33 bytes), 35
 * authentication bits (16 bits), 37 encryption bits (16 bits), 39 default key
 * index (8 bits), 40 key (text, 65 bytes). Returns 0; when the driver does not
 * answer or `length` has no room for the request (16 bytes), -1 with state 3,
 * SSID "N/A" and all else 0, as far as `length` reaches. */
int getCurrentWscProfile(const char *ifname, void *record, int length);

/* Fills `record` (936 bytes, at any alignment) with the credentials received by
 * WPS. Little-endian, by byte offset: 0 their number, 4 the one applied, and of
 * the first: 8 SSID length (each 32 bits), 12 SSID (32 bytes), 44 authentication
 * type, 46 encryption type (each 16 bits), 48 key (64 bytes), 112 key length (16
 * bits), 120 WEP key index (8 bits). Returns 0, or -1 after printing
 * "ioctl error, getWscProfile:" and the reason. */
int getWscProfile(const char *ifname, void *record);

/* Append to the text in `out` the names of the bits set in the authentication
 * or encryption field of a current-profile `record` (its first 39 bytes are
 * read), one after the other without a separator: at most 32 and 14 characters.
 * "N/A" for a field of 0. Return `out`. */
char *getWPSAuthMode(const void *record, char *out);
char *getWPSEncrypType(const void *record, char *out);

/* Restarts WPS on the access point: stops it, and starts the daemon wscd again
 * when RadioOff is not "1", OperationMode is "0" or "1" and WscModeOption is
 * greater than "0" as text. Reads WscConfigured. Without a LAN address it leaves a
 * trace on the console and WPS stopped. Returns 0. */
int WPSRestart(void);

/* The push button of the access point: starts a run and its monitor. With
 * WscModeOption "0" it prints that WPS is disabled and does nothing else. Reads
 * WscConfigured and WirelessMode. */
void WPSAPPBCStartAll(void);

/* The push button of the client: has "apcli0" join another network, directly,
 * and starts the client's monitor. */
void WPSAPCliPBCStart(void);

/* Starts the monitor for a run that was begun elsewhere, such as by PIN. Reads
 * WscConfigured. */
void WPSAPStart(void);

/* Starts the monitor for an enrollee run. Reads WscConfigured. Timer handlers
 * and triggers do not look at the signal number. */
void WPSSingleTriggerHandler(int signal_number);

/* The monitors: each call is one tick of 100 ms. They run as SIGALRM handlers,
 * follow the driver's status to the end of the run or to 120 seconds, then
 * store the received credentials in the settings and reload the radio. A tick
 * that interrupts one of the command runners leaves its work to the next.
 *
 * system() holds a lock for a moment: a program that calls it directly blocks
 * SIGALRM meanwhile. The handlers use no heap, but read and write settings; over
 * a store that uses it, as the bundled one does when another process has written,
 * a program blocks SIGALRM around its own allocations. */
void WPSAPTimerHandler(int signal_number);
void WPSAPCliTimerHandler(int signal_number);

/* The result of the last run in /var/wscResult, for all processes: 1 success, 0
 * none, -1 failure; any other number there is read as 0. Reading creates a
 * missing file with 0. When it cannot be created, both say so on standard error
 * and end the process with status 1. */
void setWscResult(int value);
int getWscResult(void);

/* The number in /tmp/wpsStatus, or /tmp/wpsStatus5G; -1 and a line on standard
 * error when the file cannot be opened, 0 when it does not begin with a number. */
int getWscResultOrba(void);
int getWscResultGUIOrba(void);

/* Sets the status files at the end of a run: /tmp/wpsStatus from 1 to "2" and
 * from 2, or missing, to "999"; /tmp/wpsStatus24 always to "999". */
void updateWpsStatusFlag(void);

/* ==== wireless: schedule ============================================================== */

/* The timetable of the 2.4 GHz radio: the settings wlanSchedule1 (every day)
 * and wlanSchedule2 to wlanSchedule8 (Monday to Sunday), each a record of six
 * fields between single blanks, such as "1 0 22 1 6 0":
 *
 *   enabled    a number, 0 for no
 *   mode       "1": radio on inside the period and off outside; any other: the
 *              other way round
 *   start hour, start half, end hour, end half
 *              0 to 23, and "1" for half past or anything else for the hour
 *
 * A record is cut to its first 103 characters. Fields that are missing or empty
 * read "0". Days are numbered 0 (every day) and 1 to 7 (Monday to Sunday). */

/* Applies the timetable: stops crond, makes its table /etc/admin anew with the
 * lines of all eight records, starts crond and brings the radio to the state
 * wanted now (setWlanSchedulingCurrentState). With wlanScheduleEnab "0" the
 * table holds no record's lines and the radio stays as it is. Traces on the
 * console. Returns 0. */
int wlan_schedule_init(void);

/* Appends to /etc/admin the four cron lines that set RadioOff and run
 * /sbin/wlan.sh when the record's period starts and when it ends; nothing for a
 * record that is not enabled or NULL. The mode is compared as text: "01" is not
 * "1". */
void setWlanSchedulingCfg(const char *record, int dayIndex);

/* Whether the record wants the radio on (1) or off (0) at the local time `now`,
 * of which weekday, hour and minute are read; -1 when it is not enabled or is
 * for another weekday. The end minute is outside the period, and no time is
 * inside a period that ends before it starts. The mode is compared as a number:
 * "01" is 1. */
int checkWlanSchedulingCfg(struct tm now, const char *record, int dayIndex);

/* Brings the radio to the state wanted now: the first of the eight records that
 * applies decides. When RadioOff (missing: 0) is not already so, sets it to "1"
 * or "0", commits and runs wlan.sh. Traces the decision on the console, also
 * when nothing had to be changed. Returns 0. */
int setWlanSchedulingCurrentState(void);

/* An older generator, which nothing else here calls: appends to /etc/admin cron
 * lines that set RadioOff and run /sbin/wlan.sh in every minute of the record's
 * hours. Only an enabled flag of exactly "1" counts, any half flag but "0" and
 * "1" makes no lines, Sunday is written as 7, and of an hour only its leading
 * digits are used, at most two ("0" without any). A whole every day (hours and
 * halves all "0") makes no lines: RadioOff is read through the store's direct
 * call, traced, and switched at once when it has the other value. Cuts `record`
 * into its fields in place; its length is not limited. NULL does nothing.
 * Returns 0. */
int wlan_schedule_cfg(char *record, int dayIndex);

/* ==== session ========================================================================= */

/* Who is logged in. Every process of the web server works on a copy of its own,
 * global_shared_stuff, and exchanges it whole with the shared one: fetch before
 * reading, publish after changing. Texts are NUL-terminated. */
typedef struct orba_login_record {
  char login_user[32];   /* who is logged in; "" when nobody is */
  int32_t session_id;    /* 0 when nobody is logged in */
  char session_file[32]; /* path of the current session's file, /var/SESS_ID */
  int32_t login_status;  /* the server's; 0 after a logout */
  char status_text[128]; /* the server's; "Ready" at first */
  uint32_t tail;         /* the server's */
} orba_login_record;

/* This process's copy of the login record; all zero until it is fetched. */
extern orba_login_record global_shared_stuff;

/* Variables of the web server that live here; the library does not use them. */
extern char glb_loginUser[32];
extern int glb_loginStatus;
extern int session_id;
extern char sessionFileName[32];
extern int exitOnIdleTimeout;

/* Pages reserved to privileged users, at level 1 ("Root") and at every other
 * level. An entry that ends in a dot stands for one page with any extension. */
extern const char *const accessControlPageList[21];
extern const char *const accessControlPageListRoot[16];

/* For the server's start, once: makes the shared record (System V shared memory,
 * key 1234, 204 bytes, mode 0666) or takes the one that is there, resets it, and
 * makes the semaphore that guards it (key 1234) free, waiting up to a second for
 * a process that holds it. Either is replaced, and a trace on the console says so,
 * when it has another size or mode or an owner other than root and this process's
 * user, and the kernel allows that. Returns 0, or 1 on any failure. */
int init_SharedMemory(void);

/* Resets one record: status text "Ready", everything else empty or 0. */
void init_SharedMemoryVar(orba_login_record *record);

/* Direction 1 publishes global_shared_stuff, any other fetches into it; the
 * other processes see all of a publish or nothing, also when this one is killed
 * in its midst. May wait for them, a second at most, makes record and semaphore when
 * they do not exist, and replaces a record that is too short as init_SharedMemory
 * does. What is fetched has its texts terminated, whoever wrote it. Returns 0, or 1
 * with global_shared_stuff unchanged when they cannot be had. Ends the process with
 * status 1 when the record cannot be detached. */
int sync_globalVar_and_sharedMem(int direction);

/* Begins a session for the login_user and login_status that the caller has put
 * into global_shared_stuff: draws a session id, deletes the previous session's
 * file, writes "USER STATUS TEXT" without a newline to the new file /var/SESS_ID,
 * and publishes. The id is the first rand() behind srand() with the nanoseconds of
 * the monotonic clock; then srand() gets a seed from the kernel, so that nothing
 * drawn later can be told from the id. Returns the result of the publish; a file
 * that cannot be created does not hinder it. */
int writeSessionFile(const char *text);

/* Ends the session in global_shared_stuff and deletes its file: like
 * writeSessionFile only one named /var/SESS_ and digits, whatever the record says.
 * The name of the file stays in the record, and nothing is published. Returns
 * &global_shared_stuff. */
orba_login_record *tuLogout(void);

/* Fetches, and writes the login user to `dst` (32 bytes); "" when nobody is
 * logged in, whom this process knew last when the fetch fails. Returns 1. */
int getLoginUser(char *dst);

/* Whether `url` contains an entry of accessControlPageListRoot (level 1) or of
 * accessControlPageList (any other level): 1 or 0. */
int isProtectedUrl(const char *url, int level);

/* ==== status ========================================================================== */

/* The traffic of the device, to `dst` (1,024 bytes; a longer answer is cut):
 * sixteen groups separated by '@': WAN 1 to 4, switch ports 3 down to 0, the
 * 2.4 GHz interfaces ra0 to ra3, the 5 GHz interfaces 0 to 3. A group is eight
 * numbers separated by ',': packets sent and received, bytes sent and received,
 * then for a switch port sent and received frames dropped, frames sent with CRC
 * errors and frames received with errors (the 5 GHz module's own four, else 0).
 * Reads WirelessOPMode, OperatingBandRepeater, WlanEnabled (spaces 1 and 2) and
 * the settings of getWanIfName and getWan2IfName. Starts up to 84 runs of
 * "switch", one of "call_qcsapi_sockrpc" and four of "wlan_5G.sh": not for a
 * loop. Returns 1, or -1 with `dst` untouched when the 2.4 GHz driver refuses or
 * the 5 GHz command cannot be started. */
int getCurrentPacketStatistic(char *dst);

/* One switch register through the switch tool, by its number in hexadecimal
 * text; 0 when the reply has no value, -1 when the tool cannot be started. */
long long reedSwitchReg(const char *reg);

/* The sum of three and of six switch registers, each as reedSwitchReg has it: one
 * that cannot be read takes 1 away. */
long long getSwitchPacket(const char *unicast, const char *multicast, const char *broadcast);
long long getSwitchRxError(const char *alignment, const char *crc, const char *undersize,
                           const char *fragments, const char *oversize, const char *jabbers);

/* An octet counter from its two 32-bit halves. The halves are joined as
 * hexadecimal text without leading zeros: high 1 and low 5 make 0x15. A half that
 * cannot be read is ffffffff; with more than 63 bits the answer is the largest. */
long long getSwitchBytes(const char *low, const char *high);

/* Web getters of one counter in decimal (21 bytes). The LAN ones always answer
 * "-1". The WLAN ones read ra0 in /proc/net/dev. The WAN ones read the interface
 * of the WAN whose number is argv[0]; below 1 or without it they write nothing.
 * Without /proc/net/dev they answer "-1" and print "no proc?\n". Return 1. */
int getLANTxPacketASP(char *out, int argc, char **argv);
int getLANRxPacketASP(char *out, int argc, char **argv);
int getLANTxByteASP(char *out, int argc, char **argv);
int getLANRxByteASP(char *out, int argc, char **argv);
int getWLANTxPacketASP(char *out, int argc, char **argv);
int getWLANRxPacketASP(char *out, int argc, char **argv);
int getWLANTxByteASP(char *out, int argc, char **argv);
int getWLANRxByteASP(char *out, int argc, char **argv);
int getWANTxPacketASP(char *out, int argc, char **argv);
int getWANRxPacketASP(char *out, int argc, char **argv);
int getWANTxByteASP(char *out, int argc, char **argv);
int getWANRxByteASP(char *out, int argc, char **argv);

/* The same from the 2.4 GHz driver, for the interface argv[0] when argc is 1 and
 * ra0 otherwise. Return 1, or -1 with `out` untouched when the driver refuses. */
int getRaTxPacketASP(char *out, int argc, char **argv);
int getRaRxPacketASP(char *out, int argc, char **argv);
int getRaTxByteASP(char *out, int argc, char **argv);
int getRaRxByteASP(char *out, int argc, char **argv);

/* The refresh period of the status frame in seconds, "10", to `dst` (3 bytes).
 * Returns 1. */
int getTuStatusFrameRefreshTimeout(char *dst);

/* Web getters of the status page. Where the source is missing they answer "".
 * Return 1. */

/* Time since boot, such as "2 days:  3 hours: 14 minutes" (64 bytes). */
int getSysUptime(char *out, int argc, char **argv);

/* Memory in use in percent, from /proc/meminfo as far as it can be read (12
 * bytes). */
int getMemUsgInfo(char *out, int argc, char **argv);

/* CPU in use in percent, from one look of top (12 bytes). Uses /var/cpuload. */
int getCpuLoad(char *out, int argc, char **argv);

/* Local time, such as "Thu Jan  1 00:00:00 1970" (64 bytes). */
int getSysCurrentTime(char *out, int argc, char **argv);

/* The five switch ports from switch register 80, such as "1,0/0,0/1,1/0,0/0,0"
 * (20 bytes): of each pair the first is the link. */
int getPortStatus(char *out, int argc, char **argv);

/* The settings ModelName and HostName, cut to 255 characters (256 bytes). */
int getModelName(char *out, int argc, char **argv);
int getHostName(char *out, int argc, char **argv);

/* ==== switch ========================================================================== */

/* The socket of the register requests, between switch_init and switch_fini. */
extern int esw_fd;

/* Opens esw_fd. Returns 0. On failure prints "socket: ..." on standard error and
 * ends the process with status 0. */
int switch_init(void);

/* Closes esw_fd. Returns 0. */
int switch_fini(void);

/* Reads a register of the Ethernet switch into `value`, or writes one. Return 0.
 * A request that fails prints "ioctl: ..." on standard error, closes esw_fd and
 * ends the process with status 0, from the functions below and initInternet too. */
int reg_read(int reg, uint32_t *value);
int reg_write(int reg, uint32_t value);

/* Finds the switch port of the gateway in /var/wan1.info and turns the switch's
 * IGMP snooping on with that port as router port; off when the port is unknown.
 * Commands run directly. Needs switch_init. Uses /tmp/gwMac, writes /tmp/wanPort.
 * Returns the port's number, 1 to 4, or 0. When the search for the port is cut
 * short the switch and /tmp/wanPort stay as they are. */
int igmpsnoopingenable(void);

/* Does this at start-up, between switch_init and switch_fini, unless there is no
 * /var/wan1.info. A gateway on a wired port while WirelessOPMode is "3" and
 * /tmp/do_vela begins with 0 sets WirelessOPMode to "1", writes /tmp/nvram_LOCK
 * and runs reboot.sh. Returns 0. */
int igmpsnooping_init(void);

/* The same at the start of a 5 GHz uplink: a gateway on a wired port while
 * OperationMode of space 2 is "3" ends the uplink, sets WlanEnabled of space 2
 * and makes the module an access point. */
void igmpHWSnoopingRule(void);

/* The switch port of the gateway in /var/wan1.info: 1 to 4, 0 when it is not
 * found, or 16384 when the search was cancelled by the table's last entry, which
 * is to be taken as unknown. Prints "WAN Port is N" on the console when the
 * search came to its end. Commands run directly. Needs switch_init. */
int checkWanPortNumber(void);

/* Powers every LAN port down and up again, that is all of the ports 1 to 4 but
 * `wanPort`. Takes a second for each port and one more. Commands run directly. */
void resetEthernetSwitchPort(int wanPort);

/* Reacts to a port event (17, 20, 21 and 31 are ignored): when the gateway of br0
 * has gone, makes the WAN's DHCP client renew its lease or starts the WAN anew.
 * Reads WirelessOPMode and /var/run/udhcpc1.pid. Commands run directly. Returns 0. */
int ethernetPortEventHandler(int event);

/* ==== qos ============================================================================= */

/* Starts /bin/orba_qos when TuQoSEnable is not 0 or any record of TuVLANClass is
 * enabled. Returns what orbaQoSRestart returned, 0 when there was nothing to do. */
int orbaQoSInit(void);

/* Runs "/bin/orba_qos" when that file can be read; returns 0 when it cannot. */
int orbaQoSRestart(void);

/* 1 when the first field of some record of TuVLANClass is a number other than 0. */
int isAnyVLANRuleExist(void);

/* 1 when two class records (fields separated by ',') agree in fields 3 to 33 (from 1),
 * whatever their names; 0 otherwise. A missing field is an empty one. */
int isSameClassRule(const char *a, const char *b);

/* 1 when the second field of two records, up to 31 characters, is the same text. */
int isSameQueueName(const char *a, const char *b);
int isSameClassName(const char *a, const char *b);

/* 1 when field 42 (from 1) of some record of TuQoSClass (up to 1,023 characters) is this
 * queue's number. */
int isQueueBeReference(int queue);

/* Writes SSID1, SSID2, ... joined by ';', as many as BssidNum says (1 when it is
 * missing), to `dst` (528 bytes, which 16 names of 32 characters take; longer text is cut).
 * Returns 0. */
int orbaQoSSSID(char *dst);

/* Writes "LAN" to `dst` (4 bytes). Returns 0. */
int orbaQoSLANIntf(char *dst);

/* ==== mgmt: start-up, services, time zone, backup, LEDs =============================== */

/* Brings the Internet connection up: runs internetSetWAN.sh with the number in
 * /tmp/wan_index and removes that file, or internet.sh; lights LED 13 unless
 * AuthMode is Disable or OPEN; restarts the 802.1X authenticator; applies the
 * IGMP snooping rule; calls management_init. Returns 0. */
int initInternet(void);

/* Starts the management servers: mcl.sh, SSH, TFTP, NTP, WPS and the logger; then
 * takes the wireless interfaces out of the bridge. The result has no meaning. */
int management_init(void);

/* Restarts one server: 0 the web management server on RMWWWServerPort and
 * RMHTTPSServerPort, stopping the one on the old ports when they changed; 2 the
 * Telnet server on RMTELNETServerPort. Any other number does nothing. */
void serviceCtl_restart(int which);

/* Restarts the system logger, with a remote host when RemoteLogActive is "1" and
 * RemoteLogIP names one. clearlog waits a second in between, which empties the log.
 * The results have no meaning. */
int startlog_init(void);
int clearlog(void);

/* Restart the NetBIOS and the mDNS responder. The results have no meaning. */
int restartnmbd(void);
int restartAvahid(void);

/* Stores a flag for the start-up programs. */
void setReduceBootTimeFlag(unsigned int flag);

/* Copies the daylight-saving rule of /etc/TZ (POSIX 1003.1, with week and hour) to
 * DSTSM, DSTSWM, DSTSDW, DSTSH and DSTEM, DSTEWM, DSTEDW, DSTEH, sets isDSTsynced
 * and commits, when DSTEnabled is "1" and that was not done before. Returns 1
 * after that, 0 when it was done before or no rule can be read, -1 when
 * DSTEnabled is not "1". */
int TZsync2nvram(void);

/* The settings that backupRecoverSettings deals with, in space 1 and space 2: pairs
 * of a key and its backup's key, ended by a pair of empty texts. The last pair
 * before the end is listed only. */
extern const char *const paramlist2860[][2];
extern const char *const paramlistRtdev[][2];

/* Mode 2 copies the settings to their backups, 1 copies them back, empties the
 * backups and commits both spaces, 0 empties the backups; modes 2 and 0 do not
 * commit. A setting without a backup keeps its value. Returns 0, or 2 for any
 * other mode, which does nothing. */
int backupRecoverSettings(int mode);

/* LEDs on GPIO lines, through /dev/gpio. Times are in ticks of the GPIO driver,
 * and 4000 stands for "without end". All return 0, or -1 for a number out of
 * range, with nothing sent, and for a device that cannot be opened or refuses,
 * with the system's error on standard error. */

/* Has the LED on line `gpio` (0 to 51) be on for `on` and off for `off` ticks,
 * `blinks` times; then rest `rests` ticks; all of it `repeats` times. Each is 0
 * to 4000. */
int gpioLedSet(unsigned int gpio, unsigned int on, unsigned int off, unsigned int blinks,
               unsigned int rests, unsigned int repeats);

/* Turns the LED on line `gpio` (0 to 72) on for good, or off when `on` is 0. */
int ledAlways(unsigned int gpio, int on);

/* Shows a WPS state on line `gpio` (0 to 51): 2 blinks fast, 7 lights it, 1 and
 * 3 to 6 darken it; any other state sends nothing and returns 0. States 5 to 7
 * return 0 even when they fail. */
int ledWps(unsigned int gpio, int state);

/* Turns the WPS LEDs on lines 9 and 10 off. Returns the second one's result. */
int setLedOff(void);

/* ==== crypto ========================================================================== */

/* A running SHA-1 hash (FIPS 180-1). The caller owns it; it needs no release. */
typedef struct {
  uint32_t state[5];      /* H0 to H4 */
  uint32_t schedule[80];  /* words 0 to 15: the block being collected, packed big-endian */
  uint32_t blockBytes;    /* bytes of that block collected so far, 0 to 63 */
  uint32_t bitLengthHigh; /* message length in bits, upper half */
  uint32_t bitLengthLow;  /* message length in bits, lower half */
} A_SHA_CTX;

/* Puts the initial value of FIPS 180-1 into `ctx` and clears the rest. */
void A_SHAInit(A_SHA_CTX *ctx);

/* Hashes `len` more bytes. A `len` of 0 or less or a null `data` changes
 * nothing. */
void A_SHAUpdate(A_SHA_CTX *ctx, const unsigned char *data, int len);

/* Ends the message, writes its 20-byte digest and leaves `ctx` as A_SHAInit
 * does, ready for the next message. */
void A_SHAFinal(A_SHA_CTX *ctx, unsigned char digest[20]);

/* The compression function of FIPS 180-1: hashes schedule words 0 to 15 into
 * the state. Words 16 to 79 are filled on the way; the counters stay. */
void shaHashBlock(A_SHA_CTX *ctx);

/* HMAC-SHA1 (RFC 2104) of `textLen` bytes into the 20 bytes of `digest`, which
 * holds the inner hash on the way and may be the same buffer as `text`.
 * A key of 65 bytes or more is replaced IN THE CALLER'S BUFFER: its first 20
 * bytes become the key's SHA-1. So `key` must be writable. Null and a negative
 * length count as empty. */
void hmac_sha1(const unsigned char *text, int textLen, unsigned char *key, int keyLen,
               unsigned char digest[20]);

/* One 20-byte block of PBKDF2 (RFC 2898) with HMAC-SHA1. The pass phrase is
 * the key, of any length, and is not changed; `ssid` is the salt; blocks are
 * counted from 1. `iterations` of 1 or less give the first round alone. Null
 * and a negative length count as empty. */
void F(const char *passphrase, const unsigned char *ssid, int ssidLen, int iterations,
       int blockIndex, unsigned char out[20]);

/* The pairwise master key of IEEE 802.11i from a WPA pass phrase (at most 63
 * characters) and a network name (at most 32 bytes): PBKDF2 of 4096 rounds.
 * `out` takes 40 bytes, of which the first 32 are the key. Returns 1; or 0,
 * with `out` untouched, when an input is too long, `ssidLen` is negative or
 * there is no pass phrase (null). Leaves no key material on the stack. */
int PasswordHash(const char *passphrase, const unsigned char *ssid, int ssidLen,
                 unsigned char out[40]);

/* The value of a hexadecimal digit of either case, 0 to 15; 255 for any other
 * character. */
unsigned char BtoH(char digit);

/* Reads 2 x `n` hexadecimal digits into `n` bytes; nothing when `n` is 0 or
 * less. Nothing is checked: each byte is 16 x the first digit + the second
 * modulo 256, with BtoH's 255 for what is no digit. `out` may be `hex`. */
void AtoH(const char *hex, unsigned char *out, int n);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
