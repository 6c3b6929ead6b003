#ifndef PSDKIT_PSDKIT_H
#define PSDKIT_PSDKIT_H

// Every public header of psdkit.

#include "psdkit/core/PSDBaseSection.h"
#include "psdkit/core/PSDColorMode.h"
#include "psdkit/core/PSDFile.h"
#include "psdkit/core/PSDHeader.h"
#include "psdkit/core/PSDImageData.h"
#include "psdkit/core/PSDUtil.h"
#include "psdkit/core/PSDVersion.h"
#include "psdkit/core/PhotoshopFile.h"
#include "psdkit/icc/PSDICCProfileRB.h"
#include "psdkit/icc/PSDICCTag.h"
#include "psdkit/layers/LayerRecord.h"
#include "psdkit/layers/PSDLayers.h"
#include "psdkit/pixels/PSDColorConverter.h"
#include "psdkit/pixels/PSDDeflate.h"
#include "psdkit/pixels/PSDPackBits.h"
#include "psdkit/pixels/PSDPixels.h"
#include "psdkit/pixels/PSDPlaneDecoder.h"
#include "psdkit/pixels/PSDPlaneEncoder.h"
#include "psdkit/resources/PSDCopyrightFlagRB.h"
#include "psdkit/resources/PSDDocumentIDRB.h"
#include "psdkit/resources/PSDGenericResourceBlock.h"
#include "psdkit/resources/PSDGlobalAngleRB.h"
#include "psdkit/resources/PSDGridGuidesRB.h"
#include "psdkit/resources/PSDImageRes.h"
#include "psdkit/resources/PSDLayerStateInfoRB.h"
#include "psdkit/resources/PSDLayersGroupInfoRB.h"
#include "psdkit/resources/PSDPrintFlagsInfoRB.h"
#include "psdkit/resources/PSDPrintFlagsRB.h"
#include "psdkit/resources/PSDResolutionInfoRB.h"
#include "psdkit/resources/PSDResourceBlock.h"
#include "psdkit/thumbnail/PSDJpeg.h"
#include "psdkit/thumbnail/PSDThumbnailRB.h"

#endif
