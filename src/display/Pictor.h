// SPDX-License-Identifier: MIT
#pragma once

// The whole display library in one include.
#include "display/CImageInfo.h"
#include "display/ImageItem.h"
#include "display/PixelValue.h"
#include "display/Scene.h"
#include "display/SliceStatistics.h"
#include "display/ZoomToolBar.h"
#include "display/ZoomToolBarView.h"
