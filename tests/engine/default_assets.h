#pragma once
// The shipped default pictures and sound in a conversion request, as the window fills them
// in when the user picks none.

#include <string>

#include "common/files.h"
#include "engine/conversion_request.h"

namespace ebf::test {

inline void UseDefaultAssets(ConversionRequest& req, const std::string& progFolder) {
  const std::string def = progFolder + "PSXCust" + kSep + "Default" + kSep;
  req.Icon0Path = def + "ICON0.PNG";
  req.Icon1Path = def + "ICON1.PMF";
  req.Pic0Path = def + "PIC0.PNG";
  req.Pic1Path = def + "PIC1.PNG";
  req.Snd0Path = def + "SND0.AT3";
  req.GamebootPath = def + "Gameboot.png";
}

}  // namespace ebf::test
