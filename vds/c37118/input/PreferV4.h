#pragma once
#include <boost/asio/ip/tcp.hpp>

/// Of the addresses of a host name, the one that devices usually listen on (IPv4). @param p_results not empty.
inline boost::asio::ip::tcp::endpoint PreferV4(const boost::asio::ip::tcp::resolver::results_type& p_results)
{
    for (const auto& entry : p_results)
    {
        if (entry.endpoint().address().is_v4())
            return entry.endpoint();
    }
    return p_results.begin()->endpoint();
}
