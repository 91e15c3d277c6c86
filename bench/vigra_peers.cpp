// What VIGRA offers beside the slanted edge.
#include "vigra_peers.h"

#ifdef LUMO_PEER_VIGRA
#include <memory>
#include <vigra/multi_array.hxx>
#include <vigra/slanted_edge_mtf.hxx>
#endif

namespace lumo::bench {

#ifdef LUMO_PEER_VIGRA
Peers vigraMtf(const Image& image, double timesFaster) {
    return {{"VIGRA",
             [image] {
                 const vigra::MultiArrayView<2, std::uint16_t> view(
                     vigra::Shape2(image.width, image.height), image.data);
                 vigra::ArrayVector<vigra::TinyVector<double, 2>> transfer;
                 vigra::slantedEdgeMTF(view, transfer);
             },
             timesFaster}};
}
#else
Peers vigraMtf(const Image&, double) {
    return {};
}
#endif

}  // namespace lumo::bench
