#pragma once
// Everything libmarqenkit-gtk offers, in one include: <marqenkit-gtk/marqenkit-gtk.h>.
#include "marqen-artwork-icon.h"
#include "marqen-main-queue-source.h"
#include "marqen-tool-bar.h"
#include "marqen-document-view.h"
#include "marqen-property-bar.h"
#include "marqen-composition-view.h"
#include "core-marqen-view.h"
