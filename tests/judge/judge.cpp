// packets_judge: holds the model of packets/ against the kernel of this machine.
//
//   packets_judge [--configurations N] [--packets N] [--first SEED] [--jobs N] [--record FOLDER]
//                 [--enough N] [--show 1]
//   packets_judge --plan FOLDER | --played FOLDER [--configurations N] [--packets N] [--first SEED]
//                 [--record FOLDER]
//
// So many configurations, half of them with the tables of iptables-legacy and half with those of
// iptables-nft, and so many packets to each; none is begun once there are enough packets. Every
// difference is a line that can be tried by hand (--first SEED --configurations 1 --show 1). The
// first are recorded for packets_faults. Ends with 1 when there is one, with 77 where the machine
// cannot make such routers; with CI set that is a failure too.
//
// The second form is for a machine that packets_player runs on: plans for it, one a file by its
// seed, and what it answered, in files of the same names.
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iostream>
#include <set>
#include <sstream>

#include "kernel.h"
#include "packets/router.h"
#include "prober.h"
#include "record.h"
#include "translator.h"

namespace {

using namespace judge;

struct Options {
  uint64_t configurations = 320, packets = 3200, first = 0, jobs = 2;
  uint64_t enough = UINT64_MAX;
  std::string record, plan, played;
  bool show = false;
};

// So many of the first configurations are recorded: enough to find a fault of the model by.
constexpr uint64_t kRecorded = 80;

// What all processes add to.
struct Counts {
  uint64_t configurations, probes, connections, by_an_answer, broute, refused, one_by_one;
  uint64_t reversed, content, differences, lacking;
  uint64_t taken_out, by_session, unheard;
};
Counts *counts;

void add(uint64_t &to, uint64_t number = 1) {
  __atomic_fetch_add(&to, number, __ATOMIC_RELAXED);
}

void differs(const Situation &situation, const char *tables, const std::string &what) {
  add(counts->differences);
  if (counts->differences > 200) return;
  std::ostringstream line;
  line << "DIFFERS " << tables << " seed " << situation.seed << ": " << what << '\n';
  const std::string text = line.str();
  if (write(STDOUT_FILENO, text.data(), text.size()) < 0) _exit(1);
}

// The kernel here knows no broute table, and the lab's DMZ program does nothing: neither side is
// given these lines.
bool isOfDmz(const std::string &line) {
  return line.find("super_dmz") != std::string::npos;
}
bool isLackingHere(const std::string &line) {
  return isOfDmz(line) || line.find("-t broute") != std::string::npos;
}

// Whether the packet got as far as where connections are told apart: what follows it relies on
// its having been seen.
bool wasTracked(const packets::Walk &way) {
  if (way.verdict == packets::Verdict::kNobody) return false;  // of a session that hears nothing
  return !way.decided_by || way.decided_by->place.program == packets::Place::kIptables;
}

// A situation for whoever looks into a difference.
void show(const Situation &situation) {
  for (const packets::Interface &each : situation.network.interfaces) {
    printf("%s %s %s\n", each.name.c_str(), packets::macText(each.mac).c_str(),
           each.bridge.c_str());
  }
  for (const nvram::Setting &setting : situation.settings) {
    printf("%s=%s\n", setting.key.c_str(), setting.value.c_str());
  }
  for (const std::string &line : situation.lines) printf("%s\n", line.c_str());
}

// What is sent one after another, since each knows of the one before.
struct Conversation {
  packets::Connection connection;
  std::vector<Probe> probes;
};

// Where packets go, and what comes of each.
using Sending = std::function<std::vector<Arrival>(const std::vector<const Probe *> &)>;

class PacketJudge {
 public:
  // A kernel that answers at once, one that is yet to be asked, or one that was asked before. What
  // follows a first packet then is what follows it when the model is right.
  enum Time { kNow, kLater, kBefore };

  PacketJudge(const Situation &situation, const char *tables, const packets::Router &router,
              Time time, Sending sending)
      : situation_(situation),
        router_(router),
        time_(time),
        sending_(std::move(sending)),
        record_{.seed = situation.seed,
                .tables = tables,
                .network = situation.network,
                .lines = situation.lines,
                .refused = {},
                .questions = router.unknowns().size(),
                .probes = {},
                .arrivals = {}} {}

  void play(uint64_t packets) {
    while (sent_ < packets && playRound()) continue;
    if (time_ != kLater) add(counts->probes, sent_);
  }
  Record &record() { return record_; }

 private:
  struct Sent {
    const Probe *probe;
    const packets::Connection *connection;
    packets::Walk way;
    bool goes_on;  // what follows it is sent
  };

  // First packets of connections, and what follows some of them. False when chance came up
  // with none.
  bool playRound() {
    std::vector<Probe> firsts;
    for (int tries = 0; tries < 100 && firsts.size() < Kernel::kBatch; tries++) {
      if (std::optional<Probe> probe = prober_.first()) firsts.push_back(std::move(*probe));
    }
    if (firsts.empty()) return false;
    std::vector<Sent> batch;
    for (const Probe &probe : firsts) batch.push_back({&probe, nullptr, {}, false});
    const uint64_t begin = sent_;
    send(batch);
    std::vector<Conversation> conversations;
    for (size_t i = 0; i < batch.size(); i++) {
      const Sent &sent = batch[i];
      if (!sent.goes_on || !dice_.chance(40)) continue;
      if (sent.way.verdict != packets::Verdict::kForwarded &&
          sent.way.verdict != packets::Verdict::kDelivered) {
        continue;
      }
      const uint32_t place = static_cast<uint32_t>(begin + i);
      conversations.push_back(
          {{sent.probe->packet, sent.way.end}, prober_.followers(*sent.probe, place, sent.way)});
    }
    if (time_ != kLater) add(counts->connections, conversations.size());
    for (size_t step = 0;; step++) {
      batch.clear();
      std::vector<Conversation *> of;
      for (Conversation &each : conversations) {
        if (step >= each.probes.size()) continue;
        batch.push_back({&each.probes[step], &each.connection, {}, false});
        of.push_back(&each);
      }
      if (batch.empty()) return true;
      send(batch);
      for (size_t i = 0; i < batch.size(); i++) {
        const bool goes_on = batch[i].goes_on && wasTracked(batch[i].way);
        if (!goes_on) of[i]->probes.resize(step + 1);
      }
    }
  }

  void send(std::vector<Sent> &batch) {
    std::vector<const Probe *> probes;
    for (const Sent &each : batch) probes.push_back(each.probe);
    const std::vector<Arrival> arrivals = sending_(probes);
    for (size_t i = 0; i < batch.size(); i++, sent_++) judge(batch[i], arrivals[i]);
  }

  void judge(Sent &sent, const Arrival &arrival) {
    const Probe &probe = *sent.probe;
    const uint32_t first = probe.first == Probe::kNone ? static_cast<uint32_t>(sent_) : probe.first;
    sent.way = wayOf(walker_, probe, sent.connection);
    sent.goes_on = true;
    if (lost_.count(first) != 0) return;
    std::string why;
    const Agreement agreement =
        time_ == kLater ? Agreement::kAgrees
                        : judged(router_, walker_, sent.way, probe, sent.connection, arrival, why);
    if (agreement != Agreement::kAgrees) lost_.insert(first);
    if (time_ == kNow) sent.goes_on = agreement == Agreement::kAgrees;
    if (agreement == Agreement::kByAnAnswer) add(counts->by_an_answer);
    if (agreement == Agreement::kDiffers) {
      const packets::Network &network = situation_.network;
      std::string words = text(probe, network);
      if (sent.connection != nullptr) {
        words += "\n  of " + text({.packet = sent.connection->original}, network);
      }
      differs(situation_, record_.tables.c_str(),
              words + "\n  the kernel: " + text(arrival, network) + "\n  " + why);
    }
    if (time_ == kBefore) countForms(sent);
    if (probe.first == Probe::kNone)
      recorded_[first] = static_cast<uint32_t>(record_.probes.size());
    record_.probes.push_back(probe);
    if (probe.first != Probe::kNone) record_.probes.back().first = recorded_.at(first);
    record_.arrivals.push_back(arrival);
  }

  // What only a machine's kernel has.
  void countForms(const Sent &sent) {
    using packets::Place;
    const auto &[verdict, end, decided_by, translated_by, steps, asked] = sent.way;
    const uint64_t port = sent.probe->packet[packets::kBridgePort];
    if (port == packets::kNoInterface) return;
    const packets::Interface &in = router_.network().interfaces[port];
    if (!in.below.empty()) {
      add(verdict == packets::Verdict::kNobody ? counts->unheard : counts->by_session);
    }
    const bool in_bridge = decided_by && decided_by->place.program == Place::kEbtables;
    if (!in.bridge.empty() && end[packets::kIn] == port && !in_bridge &&
        verdict != packets::Verdict::kBridged) {
      add(counts->taken_out);
    }
  }

  const Situation &situation_;
  const packets::Router &router_;
  const Time time_;
  const Sending sending_;
  packets::Walker walker_{router_};
  Dice dice_{situation_.seed * 2 + 1};
  Prober prober_{router_, walker_, dice_};
  Record record_;
  uint64_t sent_ = 0;
  std::set<uint32_t> lost_;                // connections of which no more is known
  std::map<uint32_t, uint32_t> recorded_;  // where in the record their first packets stand
};

// A record with what is in it, for whoever judges it again.
template <class Written>
void writeInto(const std::string &folder, uint64_t seed, const Written &written) {
  const std::string path = folder + "/" + std::to_string(seed);
  std::ofstream file(path);
  write(file, written);
  if (!(file << std::flush)) throw std::runtime_error(path + " cannot be written");
}

void judgeRefusals(const Situation &situation, const char *tables, const packets::Router &router,
                   const std::map<size_t, std::string> &refused) {
  const Refusals refusals = compareRefusals(router, situation.lines, refused);
  for (const std::string &words : refusals.differences) differs(situation, tables, words);
  add(counts->refused, refusals.both);
  add(counts->reversed, refusals.reversed);
  add(counts->content, refusals.content);
}

void judgePackets(const Situation &situation, const char *tables, Kernel &kernel,
                  const packets::Router &router, const Options &options) {
  PacketJudge judge(situation, tables, router, PacketJudge::kNow,
                    [&](const std::vector<const Probe *> &probes) { return kernel.send(probes); });
  judge.play(options.packets);
  if (options.record.empty() || situation.seed >= options.first + kRecorded) return;
  judge.record().refused = kernel.refused();
  writeInto(options.record, situation.seed, judge.record());
}

// ---- a machine of its own ----

// What the machine is to play, or what it answered.
void workForMachine(const Options &options) {
  Translator translator(JUDGE_TOOLS);
  for (uint64_t i = 0; i < options.configurations; i++) {
    Situation made = situation(options.first + i, JUDGE_EXAMPLES, true);
    add(counts->broute, std::erase_if(made.lines, isOfDmz));
    const packets::Router router = routerOf(made.network, made.lines);
    const char *name = "machine";
    if (options.played.empty()) {
      translator.learn(made.lines);
      PacketJudge plan(made, name, router, PacketJudge::kLater,
                       [](const auto &probes) { return std::vector<Arrival>(probes.size()); });
      plan.play(options.packets);
      writeInto(options.plan, made.seed, Plan{plan.record(), made.tables, translator.commands()});
      continue;
    }
    Record answer;
    std::ifstream file(options.played + "/" + std::to_string(made.seed));
    if (!readAnswer(file, answer)) {
      differs(made, name, "could not be tried");
      continue;
    }
    judgeRefusals(made, name, router, answer.refused);
    auto next = answer.arrivals.begin();
    PacketJudge judge(made, name, router, PacketJudge::kBefore, [&](const auto &probes) {
      const auto begin = next;
      if (static_cast<size_t>(answer.arrivals.end() - begin) < probes.size()) {
        throw std::runtime_error("the machine answered another plan");
      }
      next += static_cast<long>(probes.size());
      return std::vector<Arrival>(begin, next);
    });
    judge.play(options.packets);
    judge.record().refused = answer.refused;
    if (!options.record.empty()) writeInto(options.record, made.seed, judge.record());
    add(counts->configurations);
  }
}

// ---- processes ----

// Says so once.
void lacks(const Lacking &lacking) {
  if (__atomic_fetch_add(&counts->lacking, 1, __ATOMIC_RELAXED) != 0) return;
  fprintf(stderr, "packets_judge: this machine cannot make the routers: %s\n", lacking.what());
}

// In a process of its own, whose namespaces end with it.
template <class Work>
bool apart(const Work &work) {
  std::cout.flush();
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
      work();
      _exit(0);
    } catch (const Lacking &lacking) {
      lacks(lacking);
    } catch (const std::exception &error) {
      fprintf(stderr, "packets_judge: %s\n", error.what());
    }
    _exit(1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string listingOf(const Situation &situation, Kernel::Tables tables,
                      const Translator *translator, const std::string &tools) {
  char name[] = "/tmp/packets_judge.XXXXXX";
  const int file = mkstemp(name);
  apart([&] {
    Kernel kernel(situation, tables);
    translator != nullptr ? kernel.restore(translator->commands()) : kernel.runOneByOne(tools);
    const std::string listing = kernel.listing();
    if (write(file, listing.data(), listing.size()) < 0) _exit(1);
  });
  std::ifstream in(name);
  const std::string listing((std::istreambuf_iterator<char>(in)), {});
  close(file);
  unlink(name);
  return listing;
}

std::string firstDifference(const std::string &one, const std::string &other) {
  std::istringstream ones(one), others(other);
  for (std::string line, its;;) {
    const bool more = static_cast<bool>(std::getline(ones, line));
    const bool its_more = static_cast<bool>(std::getline(others, its));
    if (!more && !its_more) return "";
    if (line != its || more != its_more) return "'" + line + "', '" + its + "'";
    line = its = "";
  }
}

void work(uint64_t job, const Options &options) {
  becomeRoot();
  Translator translator(JUDGE_TOOLS);
  uint64_t held = 0;
  constexpr uint64_t kTogether = 16;
  for (uint64_t begin = job; begin < options.configurations;) {
    std::vector<Situation> situations;
    std::vector<std::string> lines;
    for (; begin < options.configurations && situations.size() < kTogether; begin += options.jobs) {
      situations.push_back(situation(options.first + begin, JUDGE_EXAMPLES));
      add(counts->broute, std::erase_if(situations.back().lines, isLackingHere));
      if (options.show) show(situations.back());
      const Situation &made = situations.back();
      lines.insert(lines.end(), made.lines.begin(), made.lines.end());
    }
    translator.learn(lines);
    for (const Situation &each : situations) {
      if (__atomic_load_n(&counts->probes, __ATOMIC_RELAXED) >= options.enough) return;
      // An even number of jobs gives each but one kind.
      const Kernel::Tables tables =
          (each.seed / options.jobs) % 2 == 0 ? Kernel::kLegacy : Kernel::kNft;
      const char *name = tables == Kernel::kLegacy ? "legacy" : "nft";
      if (job == 0 && held < 2) {  // one of each kind
        held++;
        add(counts->one_by_one);
        const std::string difference =
            firstDifference(listingOf(each, tables, &translator, ""),
                            listingOf(each, tables, nullptr, translator.tools()));
        if (!difference.empty()) differs(each, name, "restored and one by one: " + difference);
      }
      const bool done = apart([&] {
        const packets::Router router = routerOf(each.network, each.lines);
        Kernel kernel(each, tables);
        kernel.restore(translator.commands());
        if (options.show) puts(kernel.listing().c_str());
        if (options.show) fflush(stdout);
        judgeRefusals(each, name, router, kernel.refused());
        judgePackets(each, name, kernel, router, options);
        add(counts->configurations);
      });
      if (counts->lacking != 0) return;
      if (!done) differs(each, name, "could not be tried");
    }
  }
}

}  // namespace

int main(int count, char **words) {
  Options options;
  for (int i = 1; i + 1 < count; i += 2) {
    const std::string option = words[i];
    const uint64_t number = strtoull(words[i + 1], nullptr, 10);
    if (option == "--configurations") options.configurations = number;
    if (option == "--packets") options.packets = number;
    if (option == "--first") options.first = number;
    if (option == "--jobs") options.jobs = number;
    if (option == "--enough") options.enough = number;
    if (option == "--record") options.record = words[i + 1];
    if (option == "--plan") options.plan = words[i + 1];
    if (option == "--played") options.played = words[i + 1];
    if (option == "--show") options.show = true;
  }
  counts = static_cast<Counts *>(
      mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  if (!options.record.empty()) {  // none of an older run
    std::filesystem::remove_all(options.record);
    std::filesystem::create_directories(options.record);
  }
  const auto begin = std::chrono::steady_clock::now();
  std::vector<pid_t> jobs;
  const bool of_machine = !options.plan.empty() || !options.played.empty();
  if (of_machine) {
    workForMachine(options);
    options.jobs = 0;
  }
  if (!options.plan.empty()) return 0;
  for (uint64_t job = 0; job < options.jobs; job++) {
    const pid_t child = fork();
    if (child == 0) {
      int status = 0;
      try {
        work(job, options);
      } catch (const Lacking &lacking) {
        lacks(lacking);
      } catch (const std::exception &error) {
        fprintf(stderr, "packets_judge: %s\n", error.what());
        status = 1;
      }
      _exit(status);
    }
    jobs.push_back(child);
  }
  bool failed = false;
  for (pid_t job : jobs) {
    int status = 0;
    waitpid(job, &status, 0);
    failed = failed || !WIFEXITED(status) || WEXITSTATUS(status) != 0;
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  if (counts->lacking != 0) {
    const char *ci = getenv("CI");
    return ci != nullptr && *ci != '\0' ? 1 : 77;
  }
  std::ostringstream told;
  if (of_machine) {
    told << counts->taken_out << " frames taken out of a bridge by broute; " << counts->by_session
         << " packets from sessions of PPPoE, " << counts->unheard
         << " from those whose frames are a bridge's\n";
  }
  told << counts->connections << " connections, "
       << static_cast<uint64_t>(static_cast<double>(counts->probes) / seconds)
       << " packets a second; " << counts->one_by_one << " configurations also command by command; "
       << counts->refused << " commands refused by both\n"
       << "explained: " << counts->by_an_answer
       << " packets by an answer that nobody can foresee (limit); " << counts->broute
       << " commands for " << (of_machine ? "" : "broute and ")
       << "the DMZ program, which are lacking here; " << counts->content
       << " for the content of pages, which the tools lack; " << counts->reversed
       << " with reversed ports of UDP, which the present tools take and nothing matches\n"
       << counts->probes << " packets through " << counts->configurations << " configurations in "
       << std::fixed << std::setprecision(1) << seconds << " s, " << counts->differences
       << " differences\n";
  std::cout << told.str();
  const bool whole =
      counts->configurations == options.configurations || counts->probes >= options.enough;
  return failed || counts->differences != 0 || counts->configurations == 0 || !whole;
}
