#pragma once
#include <boost/asio/ip/tcp.hpp>

/// The address that devices listen on, as a rule, of those that a name stands for. @param p_results not empty.
inline boost::asio::ip::tcp::endpoint PreferV4(const boost::asio::ip::tcp::resolver::results_type& p_results)
{
    for (const auto& entry : p_results)
    {
        if (entry.endpoint().address().is_v4())
            return entry.endpoint();
    }
    return p_results.begin()->endpoint();
}
