// Which channel lies at which frequency.
#include "orba_util.h"

namespace {

constexpr ChannelFrequency at(uint32_t channel) {
  constexpr uint32_t kStep = 5000;
  if (channel <= 13) return {channel, 2407000 + kStep * channel};
  if (channel == 14) return {channel, 2484000};
  // Numbers from 184 up count the 4.9 GHz band.
  if (channel >= 184) return {channel, 4000000 + kStep * channel};
  return {channel, 5000000 + kStep * channel};
}

}  // namespace

constexpr ChannelFrequency ChannelFreqTable[] = {
    at(1),   at(2),   at(3),   at(4),   at(5),   at(6),   at(7),   at(8),   at(9),
    at(10),  at(11),  at(12),  at(13),  at(14),  at(34),  at(36),  at(38),  at(40),
    at(42),  at(44),  at(46),  at(48),  at(52),  at(56),  at(60),  at(64),  at(100),
    at(104), at(108), at(112), at(116), at(120), at(124), at(128), at(132), at(136),
    at(140), at(149), at(153), at(157), at(161), at(165), at(167), at(169), at(171),
    at(173), at(184), at(188), at(192), at(196), at(208), at(212), at(216),
};

static_assert(sizeof(ChannelFrequency) == 8);
const int G_nChanFreqCount = sizeof ChannelFreqTable / sizeof ChannelFreqTable[0];
