import Vornex.Map
import Vornex.Session

/// The map of the recording that is played.
MapView {
    required property AppViewModel viewModel

    attribution: viewModel.mapAttribution
    currentTime: viewModel.playerManager.currentTime
    mediaData: viewModel.mediaData
    tileAddress: viewModel.mapTileAddress
}
